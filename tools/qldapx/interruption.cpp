#include "interruption.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace qldapx {
namespace {

volatile sig_atomic_t received = 0;
// Wakes a wait that begins after the signal has come.
std::array<int, 2> wakeUp = {-1, -1};

Interruption::LastAct finalAct = nullptr;

void endNow(int signal) {
    if (finalAct != nullptr)
        finalAct();
    endBy(signal);
}

void remember(int signal) {
    if (received != 0)
        return endNow(signal);
    const int error = errno;
    received = signal;
    const char byte = 0;
    if (write(wakeUp[1], &byte, 1) < 0)
        _exit(128 + signal);
    errno = error;
}

} // namespace

Interruption::Interruption(LastAct lastAct) : isOutermost_(wakeUp[0] < 0) {
    if (!isOutermost_)
        return;
    finalAct = lastAct;
    if (pipe2(wakeUp.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::bad_alloc();
    handlers_.emplace(remember, false);
}

Interruption::~Interruption() {
    if (!isOutermost_)
        return;
    handlers_.reset();
    for (int &end : wakeUp) {
        close(end);
        end = -1;
    }
}

bool Interruption::requested() {
    return received != 0;
}

void Interruption::wait(std::span<pollfd> ends, std::chrono::milliseconds longest) {
    std::array<pollfd, 3> all = {{{wakeUp[0], POLLIN, 0}, {-1, 0, 0}, {-1, 0, 0}}};
    std::copy(ends.begin(), ends.end(), all.begin() + 1);
    poll(all.data(), all.size(), static_cast<int>(longest.count()));
    std::copy_n(all.begin() + 1, ends.size(), ends.begin());
}

void Interruption::endProcess() {
    endBy(received);
}

} // namespace qldapx
