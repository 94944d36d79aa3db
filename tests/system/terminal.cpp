#include "system/terminal.h"

#include <array>
#include <csignal>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

namespace test {

Terminal::Terminal(const Arguments &arguments, const Surroundings &surroundings, Size size) {
    winsize window = {size.rows, size.columns, 0, 0};
    if (openpty(&master_, &slave_, nullptr, nullptr, &window) != 0)
        throw std::runtime_error("no terminal");
    const Command command(QLDAPX_PATH, arguments, surroundings);
    pid_ = fork();
    if (pid_ == 0) {
        close(master_);
        login_tty(slave_);
        command.execute();
    }
}

Terminal::~Terminal() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(slave_);
    close(master_);
}

void Terminal::type(const std::string &keys) const {
    if (write(master_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
        throw std::runtime_error("cannot type");
}

bool Terminal::readMore(long milliseconds) {
    pollfd end = {master_, POLLIN, 0};
    if (poll(&end, 1, static_cast<int>(milliseconds)) <= 0)
        return false;
    std::array<char, 4096> buffer{};
    const ssize_t got = read(master_, buffer.data(), buffer.size());
    screen_.append(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

bool Terminal::waitFor(const std::string &text) {
    return waitUntil(
        [&](const std::string &shown) { return shown.find(text) != std::string::npos; });
}

bool Terminal::echoes() const {
    termios settings{};
    tcgetattr(slave_, &settings);
    return (settings.c_lflag & ECHO) != 0;
}

void Terminal::resize(Size size) const {
    const winsize window = {size.rows, size.columns, 0, 0};
    ioctl(master_, TIOCSWINSZ, &window);
}

void Terminal::signal(int number) const {
    kill(pid_, number);
}

Result Terminal::finish() {
    constexpr int attempts = 6000;
    int status = 0;
    Result result;
    pid_t ended = 0;
    for (int i = 0; i < attempts && ended == 0; ++i) {
        readMore(10);
        ended = waitpid(pid_, &status, WNOHANG);
    }
    if (ended == 0)
        return result;
    while (readMore(50)) {
    }
    result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    result.out = screen_;
    pid_ = -1;
    return result;
}

} // namespace test
