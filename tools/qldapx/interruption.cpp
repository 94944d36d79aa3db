#include "interruption.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <unistd.h>

namespace qldapx {
namespace {

constexpr std::array endingSignals = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t received = 0;
// Wakes a wait that begins after the signal has come.
std::array<int, 2> wakeUp = {-1, -1};

void remember(int signal) {
    const int error = errno;
    received = signal;
    const char byte = 0;
    if (write(wakeUp[1], &byte, 1) < 0)
        _exit(128 + signal);
    errno = error;
}

} // namespace

Interruption::Interruption() {
    if (pipe2(wakeUp.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::bad_alloc();
    struct sigaction action = {};
    action.sa_handler = remember;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : endingSignals)
        sigaction(signal, &action, nullptr);
}

Interruption::~Interruption() {
    for (const int signal : endingSignals)
        std::signal(signal, SIG_DFL);
    for (int &end : wakeUp) {
        close(end);
        end = -1;
    }
}

bool Interruption::requested() {
    return received != 0;
}

void Interruption::wait(int descriptor) {
    constexpr int second = 1000;
    std::array<pollfd, 2> ends = {{{descriptor, POLLIN, 0}, {wakeUp[0], POLLIN, 0}}};
    poll(ends.data(), ends.size(), second);
}

void Interruption::endProcess() {
    std::signal(received, SIG_DFL);
    raise(received);
}

} // namespace qldapx
