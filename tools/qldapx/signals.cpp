#include "signals.h"

namespace qldapx {

// Without SA_RESTART: whoever is called goes on by itself, if it does.
EndingHandlers::EndingHandlers(void (*handler)(int), bool alsoQuit)
    : count_(endingSignals.size() - (alsoQuit ? 0 : 1)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    for (std::size_t i = 0; i < count_; ++i) {
        sigaction(endingSignals[i], nullptr, &earlier_[i]);
        if (earlier_[i].sa_handler != SIG_IGN)
            sigaction(endingSignals[i], &action, nullptr);
    }
}

EndingHandlers::~EndingHandlers() {
    for (std::size_t i = 0; i < count_; ++i)
        sigaction(endingSignals[i], &earlier_[i], nullptr);
}

EndingsHeld::EndingsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : endingSignals)
        sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &earlier_);
}

EndingsHeld::~EndingsHeld() {
    sigprocmask(SIG_SETMASK, &earlier_, nullptr);
}

void endBy(int signal) {
    std::signal(signal, SIG_DFL);
    raise(signal);
}

} // namespace qldapx
