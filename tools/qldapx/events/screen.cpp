#include "events/screen.h"

#include "errors.h"
#include "interruption.h"
#include "signals.h"
#include "text.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace qldapx {
namespace {

// Another screen, no cursor, no new line after the last column; and all of it back.
constexpr std::string_view enter = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[2J";
constexpr std::string_view leave = "\x1b[?2026l\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

constexpr std::array crashes = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT};

// What was changed, where a signal handler can reach it.
volatile sig_atomic_t entered = 0;
volatile sig_atomic_t keysChanged = 0;
termios savedKeys;

void writeAll(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        // A terminal that takes nothing does not keep the command from ending.
        if (written < 0 && (errno != EINTR || Interruption::requested()))
            throw OutputError(errno);
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

void restoreAndCrash(int signal) {
    Screen::restore();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

/** Keys come at once and unseen; Ctrl-Z, which would leave the screen to the shell, does nothing.
 */
bool takeKeys() {
    if (tcgetattr(STDIN_FILENO, &savedKeys) != 0)
        return false;
    termios keys = savedKeys;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keys.c_cc[VMIN] = 0;
    keys.c_cc[VTIME] = 0;
    keys.c_cc[VSUSP] = _POSIX_VDISABLE;
    keysChanged = 1;
    return tcsetattr(STDIN_FILENO, TCSAFLUSH, &keys) == 0;
}

std::string styled(const Style &style, const ScreenLine &line, std::size_t width) {
    const std::string text(prefixOf(line.text, width));
    switch (line.look) {
    case ScreenLine::Look::Heading:
        return style.bold(text);
    case ScreenLine::Look::Alarm:
        return style.red(text);
    default:
        return text;
    }
}

} // namespace

void Screen::requireTerminal() {
    const char *type = std::getenv("TERM");
    const bool canDraw = type != nullptr && *type != '\0' && std::string_view(type) != "dumb";
    if (isatty(STDOUT_FILENO) != 1 || !canDraw)
        throw UsageError("events top draws on a terminal, and standard output is none",
                         "qldapx events watch prints the events; --json for programs");
}

Screen::Screen(const Style &style) : style_(style), keyboard_(takeKeys() ? STDIN_FILENO : -1) {
    for (const int signal : crashes)
        std::signal(signal, restoreAndCrash);
}

Screen::~Screen() {
    restore();
    for (const int signal : crashes)
        std::signal(signal, SIG_DFL);
}

// A signal would end the wait for the terminal, and the screen would stay.
void Screen::restore() {
    const EndingsHeld held;
    if (keysChanged != 0) {
        tcflush(STDIN_FILENO, TCIFLUSH); // keys that nobody read are not for the shell
        tcsetattr(STDIN_FILENO, TCSANOW, &savedKeys);
    }
    keysChanged = 0;
    // A terminal that has gone needs nothing, and one that takes nothing is not waited for.
    constexpr int patience = 200;
    pollfd terminal = {STDOUT_FILENO, POLLOUT, 0};
    const bool takes = entered != 0 && poll(&terminal, 1, patience) > 0;
    if (takes && write(STDOUT_FILENO, leave.data(), leave.size()) < 0)
        errno = 0;
    entered = 0;
}

ScreenSize Screen::size() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {80, 24};
    return {size.ws_col, size.ws_row};
}

void Screen::show(const std::vector<ScreenLine> &lines) {
    const ScreenSize size = Screen::size();
    // Terminals that know it show the frame when it is whole; the others show it as it comes.
    // The other screen is entered with the first frame: what fails here ends what has begun.
    std::string frame(entered == 0 ? enter : "");
    entered = 1;
    frame += "\x1b[?2026h\x1b[H";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        frame += i == 0 ? "" : "\r\n";
        frame += styled(style_, lines[i], size.columns);
        // On a full line the cursor stands on the last character.
        if (columns(lines[i].text) < size.columns)
            frame += "\x1b[K";
    }
    if (lines.size() < size.rows)
        frame += "\x1b[J";
    writeAll(frame + "\x1b[?2026l");
}

std::optional<char> Screen::key() {
    pollfd end = {keyboard_, POLLIN, 0};
    char key = '\0';
    if (keyboard_ < 0 || poll(&end, 1, 0) <= 0)
        return {};
    if (::read(keyboard_, &key, 1) == 1)
        return key;
    keyboard_ = -1;
    return {};
}

} // namespace qldapx
