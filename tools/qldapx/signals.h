#pragma once

#include <array>
#include <csignal>
#include <cstddef>

namespace qldapx {

/** What a person or the system ends a program by. */
constexpr std::array endingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/**
 * While this lives, the signals that end a program call a function; then they do what they did
 * before. One that was ignored when the program began stays so: nohup and shells that start a
 * command in the background mean it.
 */
class EndingHandlers {
  public:
    explicit EndingHandlers(void (*handler)(int), bool alsoQuit = true);
    ~EndingHandlers();
    EndingHandlers(const EndingHandlers &) = delete;
    EndingHandlers &operator=(const EndingHandlers &) = delete;

  private:
    const std::size_t count_;
    std::array<struct sigaction, endingSignals.size()> earlier_{};
};

/** While this lives, those signals wait. */
class EndingsHeld {
  public:
    EndingsHeld();
    ~EndingsHeld();
    EndingsHeld(const EndingsHeld &) = delete;
    EndingsHeld &operator=(const EndingsHeld &) = delete;

  private:
    sigset_t earlier_{};
};

/** Ends by the signal itself, so that a shell's loop ends too; callable from its handler. */
void endBy(int signal);

} // namespace qldapx
