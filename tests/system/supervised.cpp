#include "system/supervised.h"

#include "system/watched_calls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

namespace test {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds rest(300);      // without a call: the process waits for something
constexpr Milliseconds patience(1000); // after a signal; then comes a second one
constexpr Milliseconds longest(60000);
constexpr int agreedDescriptor = 100;

/** Both ends of what stands for standard output or error. */
struct Ends {
    int ours = -1, theirs = -1;
};

Ends makeEnds(Setting::Stream stream) {
    std::array<int, 2> ends{};
    switch (stream) {
    case Setting::Stream::Closed:
        return {};
    case Setting::Stream::Full:
        return {-1, open("/dev/full", O_WRONLY | O_CLOEXEC)};
    default:
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
    if (stream != Setting::Stream::ClosedPipe)
        return {ends[0], ends[1]};
    close(ends[0]);
    return {-1, ends[1]};
}

class Supervised {
  public:
    Supervised(const std::string &program, const Arguments &arguments, const Setting &setting,
               const Trouble &trouble);
    ~Supervised();
    Supervised(const Supervised &) = delete;
    Supervised &operator=(const Supervised &) = delete;

    Outcome run();

  private:
    [[noreturn]] void become(const Command &command, const Setting &setting) const;
    void attach();
    void openTerminal();
    bool step();
    void drain(int &descriptor, std::string &text);
    void takeCall();
    void answer(const seccomp_notif &call, int error);
    void waitForEndOf(const seccomp_notif &call) const;
    [[nodiscard]] bool counts(const seccomp_notif &call);
    [[nodiscard]] bool isOfSanitizer(const seccomp_data &data) const;
    [[nodiscard]] std::string folderOfPath(std::uint64_t address) const;
    [[nodiscard]] std::string pathOf(std::uint64_t descriptor) const;
    void strike(const std::string &where);
    void remindOrKill();

    const Trouble &trouble_;
    const bool onTerminal_;
    Ends out_, err_, terminal_;
    pid_t pid_ = -1;
    int listener_ = -1;
    bool begun_ = false; // main
    bool ended_ = false;
    Outcome outcome_;
    Clock::time_point lastCall_ = Clock::now(), blow_{};
};

Supervised::Supervised(const std::string &program, const Arguments &arguments,
                       const Setting &setting, const Trouble &trouble)
    : trouble_(trouble), onTerminal_(setting.out == Setting::Stream::Terminal),
      begun_(trouble.watched == Watched::Files) {
    const Command command(program, arguments, {setting.environment, {}, setting.directory});
    if (onTerminal_)
        openTerminal();
    else
        out_ = makeEnds(setting.out), err_ = makeEnds(setting.err);
    pid_ = fork();
    if (pid_ == 0)
        become(command, setting);
    for (Ends *ends : {&out_, &err_})
        if (ends->theirs >= 0)
            close(ends->theirs);
    attach();
}

Supervised::~Supervised() {
    if (!ended_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    for (const int descriptor : {out_.ours, err_.ours, terminal_.ours, terminal_.theirs, listener_})
        if (descriptor >= 0)
            close(descriptor);
}

void Supervised::openTerminal() {
    winsize window = {24, 80, 0, 0};
    if (openpty(&terminal_.ours, &terminal_.theirs, nullptr, nullptr, &window) != 0)
        throw std::runtime_error("no terminal");
    fcntl(terminal_.ours, F_SETFD, FD_CLOEXEC);
    out_.ours = dup(terminal_.ours);
}

// Stopped until the descriptor of the filter has been taken. From the filter on no call is made
// that it reports: nobody would answer.
void Supervised::become(const Command &command, const Setting &setting) const {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (onTerminal_) {
        login_tty(terminal_.theirs);
    } else {
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        for (const auto &[ends, number] :
             {std::pair(out_, STDOUT_FILENO), std::pair(err_, STDERR_FILENO)})
            ends.theirs >= 0 ? dup2(ends.theirs, number) : close(number);
    }
    const auto most = static_cast<rlim_t>(setting.mostBytes);
    const rlimit limit = {most, most};
    if (setting.mostBytes >= 0)
        setrlimit(RLIMIT_FSIZE, &limit);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    dup3(watch(trouble_.watched), agreedDescriptor, O_CLOEXEC);
    raise(SIGSTOP);
    command.execute();
}

void Supervised::attach() {
    int status = 0;
    waitpid(pid_, &status, WUNTRACED);
    const int process = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    listener_ = static_cast<int>(syscall(SYS_pidfd_getfd, process, agreedDescriptor, 0));
    close(process);
    if (listener_ < 0)
        throw std::runtime_error("this system lets nobody supervise system calls");
    kill(pid_, SIGCONT);
}

std::string Supervised::pathOf(std::uint64_t descriptor) const {
    std::array<char, 4096> path{};
    const std::string link =
        "/proc/" + std::to_string(pid_) + "/fd/" + std::to_string(static_cast<int>(descriptor));
    const ssize_t size = readlink(link.c_str(), path.data(), path.size());
    return {path.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

std::string Supervised::folderOfPath(std::uint64_t address) const {
    std::array<char, 512> text{};
    iovec ours = {text.data(), text.size() - 1};
    iovec theirs = {reinterpret_cast<void *>(address), text.size() - 1}; // NOLINT
    // The text may end before a page that is not there.
    for (; theirs.iov_len > 0; theirs.iov_len /= 2)
        if (process_vm_readv(pid_, &ours, 1, &theirs, 1, 0) > 0)
            break;
    return text.data();
}

// UndefinedBehaviorSanitizer looks with a pipe of its own whether an address can be read, hundreds
// of times.
bool Supervised::isOfSanitizer(const seccomp_data &data) const {
    const bool mayBe = data.nr == SYS_write || data.nr == SYS_close;
    return mayBe && data.args[0] > STDERR_FILENO && pathOf(data.args[0]).starts_with("pipe:");
}

// Of main on: what it does first.
bool Supervised::counts(const seccomp_notif &call) {
    const auto &data = call.data;
    if (static_cast<pid_t>(call.pid) != pid_)
        return false;
    if (trouble_.watched == Watched::Everything) {
        begun_ = begun_ || (data.nr == SYS_rt_sigaction && data.args[0] == SIGPIPE);
        return begun_ && data.nr != SYS_rt_sigaction && !isOfSanitizer(data);
    }
    const std::string name = callOf(data.nr).name;
    const bool byName = name.starts_with("rename") || name.starts_with("link") || name == "openat";
    if (name == "openat" && (data.args[2] & (O_CREAT | O_WRONLY | O_RDWR)) == 0)
        return false;
    const bool isAt = name.ends_with("at") || name == "renameat2";
    const std::string path = byName ? folderOfPath(data.args[isAt ? 1 : 0]) : pathOf(data.args[0]);
    return (path + "/").starts_with(trouble_.folder);
}

void Supervised::answer(const seccomp_notif &call, int error) {
    seccomp_notif_resp response{};
    response.id = call.id;
    response.error = -error;
    response.flags = error == 0 ? SECCOMP_USER_NOTIF_FLAG_CONTINUE : 0;
    ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response); // who has ended needs no answer
}

void Supervised::strike(const std::string &where) {
    outcome_.struck = true;
    outcome_.call = where;
    blow_ = Clock::now();
    if (trouble_.signal != 0)
        kill(pid_, trouble_.signal);
}

// A signal that is not held back ends the wait for the answer, and the call with it.
void Supervised::waitForEndOf(const seccomp_notif &call) const {
    constexpr int milliseconds = 20;
    for (int i = 0; i < milliseconds; ++i) {
        if (ioctl(listener_, SECCOMP_IOCTL_NOTIF_ID_VALID, &call.id) != 0)
            return;
        poll(nullptr, 0, 1);
    }
}

void Supervised::takeCall() {
    seccomp_notif call{};
    if (ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0)
        return;
    lastCall_ = Clock::now();
    if (!counts(call))
        return answer(call, 0);
    const bool isTheOne = ++outcome_.calls == trouble_.call && !outcome_.struck;
    if (isTheOne && !trouble_.after)
        strike(callOf(call.data.nr).name);
    if (isTheOne && trouble_.givesUp)
        waitForEndOf(call);
    answer(call, isTheOne ? trouble_.error : 0);
    if (isTheOne && trouble_.after)
        strike(std::string("after ") + callOf(call.data.nr).name);
}

void Supervised::drain(int &descriptor, std::string &text) {
    std::array<char, 65536> buffer{};
    const ssize_t got = read(descriptor, buffer.data(), buffer.size());
    text.append(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    if (got > 0 || (got < 0 && errno == EAGAIN))
        return;
    close(descriptor);
    descriptor = -1;
}

void Supervised::remindOrKill() {
    const auto now = Clock::now();
    if (!outcome_.struck && trouble_.signal != 0 && trouble_.call > 0 && begun_ &&
        now - lastCall_ > rest)
        strike("at rest");
    if (outcome_.struck && trouble_.signal != 0 && !outcome_.second && now - blow_ > patience) {
        outcome_.second = true;
        kill(pid_, trouble_.signal);
    }
    const bool isLate = outcome_.second && now - blow_ > 2 * patience;
    if (isLate || now - lastCall_ > longest) {
        outcome_.late = true;
        kill(pid_, SIGKILL);
    }
}

/** False when the process has ended and all that it wrote was read. */
bool Supervised::step() {
    std::array<pollfd, 3> ends = {
        {{listener_, POLLIN, 0}, {out_.ours, POLLIN, 0}, {err_.ours, POLLIN, 0}}};
    poll(ends.data(), ends.size(), ended_ ? 0 : 20);
    if ((ends[0].revents & POLLIN) != 0)
        takeCall();
    if (ends[1].revents != 0)
        drain(out_.ours, outcome_.result.out);
    if (ends[2].revents != 0)
        drain(err_.ours, outcome_.result.err);
    remindOrKill();
    int status = 0;
    if (!ended_ && waitpid(pid_, &status, WNOHANG) == pid_) {
        ended_ = true;
        outcome_.result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        outcome_.seconds = std::chrono::duration<double>(Clock::now() - blow_).count();
        return true;
    }
    return !ended_ || ends[1].revents != 0 || ends[2].revents != 0;
}

Outcome Supervised::run() {
    while (step()) {
    }
    if (onTerminal_) {
        termios settings{};
        tcgetattr(terminal_.theirs, &settings);
        outcome_.echoes = (settings.c_lflag & ECHO) != 0 && (settings.c_lflag & ICANON) != 0;
    }
    return std::move(outcome_);
}

} // namespace

Outcome runSupervised(const std::string &program, const Arguments &arguments,
                      const Setting &setting, const Trouble &trouble) {
    return Supervised(program, arguments, setting, trouble).run();
}

} // namespace test
