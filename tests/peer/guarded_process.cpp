#include "guarded_process.h"

#include <csignal>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

constexpr int forEver = -1;

pid_t startProgram(const std::vector<std::string> &arguments) {
    std::vector<char *> pointers;
    for (const std::string &argument : arguments)
        pointers.push_back(const_cast<char *>(argument.c_str()));
    pointers.push_back(nullptr);
    pid_t program = fork();
    if (program != 0)
        return program;
    prctl(PR_SET_PDEATHSIG, SIGKILL); // in case that somebody kills the guard
    dup2(STDERR_FILENO, STDOUT_FILENO);
    execv(pointers[0], pointers.data());
    _exit(127);
}

// The guard waits for whichever ends first, the test (its end of the lifeline is closed by the
// system, however it dies) or the program. What the program holds is thrown away, so that it need
// not end in good order.
[[noreturn]] void guard(int lifeline, const std::vector<std::string> &arguments,
                        const std::function<void()> &cleanUp) {
    pid_t program = startProgram(arguments);
    if (program > 0) {
        int programEnd = static_cast<int>(syscall(SYS_pidfd_open, program, 0));
        pollfd ends[] = {{lifeline, POLLIN, 0}, {programEnd, POLLIN, 0}};
        poll(ends, 2, forEver);
        kill(program, SIGKILL);
        waitpid(program, nullptr, 0);
    }
    cleanUp();
    _exit(0);
}

} // namespace

// The guard is no child of the test and in a process group of its own: whoever ends a test with
// all its children, as ctest does when time is up, leaves it to its work.
GuardedProcess::GuardedProcess(const std::vector<std::string> &arguments,
                               const std::function<void()> &cleanUp) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("no socket pair");
    pid_t between = fork();
    if (between == 0) {
        close(ends[0]);
        setsid();
        if (fork() == 0)
            guard(ends[1], arguments, cleanUp);
        _exit(0);
    }
    close(ends[1]);
    lifeline_ = ends[0];
    waitpid(between, nullptr, 0);
}

GuardedProcess::~GuardedProcess() {
    shutdown(lifeline_, SHUT_WR);
    (void)endedWithin(forEver);
    close(lifeline_);
}

bool GuardedProcess::endedWithin(int milliseconds) const {
    pollfd guardEnd{lifeline_, POLLIN, 0};
    return poll(&guardEnd, 1, milliseconds) == 1;
}

} // namespace test
