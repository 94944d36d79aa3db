#include "password.h"

#include "errors.h"
#include "open_file.h"
#include "signals.h"
#include "text.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <sys/stat.h>
#include <termios.h>

namespace qldapx {
namespace {

constexpr std::size_t maxPassword = 64 * 1024;

[[noreturn]] void failToRead(const std::string &path, const char *why) {
    throw UsageError(fmt::format("cannot read the password file {}: {}", printable(path), why));
}

[[noreturn]] void needTerminal(const PasswordPrompt &prompt) {
    throw UsageError(fmt::format("{} needs a terminal to ask on; use {} instead", prompt.option,
                                 prompt.otherwise));
}

bool isReadableByOthers(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

// What the prompt changed, where a signal handler can reach it.
termios savedTerminal;
volatile sig_atomic_t promptTerminal = -1;

// The process ends by the signal itself, so that a shell's loop around it ends too.
void restoreTerminalAndEnd(int signal) {
    tcsetattr(promptTerminal, TCSAFLUSH, &savedTerminal);
    if (write(promptTerminal, "\n", 1) < 0)
        _exit(128 + signal);
    endBy(signal);
}

/** Typed characters stay unseen until this ends, however it ends. */
class EchoOff {
  public:
    EchoOff(int terminal, const PasswordPrompt &prompt) {
        if (tcgetattr(terminal, &savedTerminal) != 0)
            needTerminal(prompt);
        promptTerminal = terminal;
        handlers_.emplace(restoreTerminalAndEnd);
        termios quiet = savedTerminal;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(terminal, TCSAFLUSH, &quiet);
    }
    ~EchoOff() { tcsetattr(promptTerminal, TCSAFLUSH, &savedTerminal); }
    EchoOff(const EchoOff &) = delete;
    EchoOff &operator=(const EchoOff &) = delete;

  private:
    std::optional<EndingHandlers> handlers_;
};

void say(int terminal, const char *text, const PasswordPrompt &prompt) {
    if (write(terminal, text, std::strlen(text)) < 0)
        needTerminal(prompt);
}

Secret readLine(int terminal) {
    Secret password;
    char next = '\0';
    while (password.size() < maxPassword && read(terminal, &next, 1) == 1 && next != '\n')
        password.resize(password.size() + 1)[password.size() - 1] = next;
    return password;
}

} // namespace

Secret readPasswordFile(const std::string &path, bool json) {
    const OpenFile file(path.c_str(), O_RDONLY);
    if (!file.isOpen())
        failToRead(path, std::strerror(errno));
    if (isReadableByOthers(file.descriptor()))
        warn(fmt::format("others can read the password file {0}; try: chmod 600 {0}",
                         printable(path)),
             json);
    Secret password;
    std::size_t size = 0;
    ssize_t got = 0;
    do {
        if (size > maxPassword)
            failToRead(path, "it is too long for a password");
        got = read(file.descriptor(), password.resize(size + 4096) + size, 4096);
        size += got > 0 ? static_cast<std::size_t>(got) : 0;
    } while (got > 0);
    if (got < 0)
        failToRead(path, std::strerror(errno));
    password.resize(size);
    if (password.empty())
        failToRead(path, "it is empty");
    return password;
}

Secret askPassword(const PasswordPrompt &prompt) {
    const OpenFile terminal("/dev/tty", O_RDWR | O_NOCTTY);
    if (!terminal.isOpen())
        needTerminal(prompt);
    Secret password;
    {
        const EchoOff echoOff(terminal.descriptor(), prompt);
        say(terminal.descriptor(), prompt.question, prompt);
        password = readLine(terminal.descriptor());
    }
    say(terminal.descriptor(), "\n", prompt);
    return password;
}

} // namespace qldapx
