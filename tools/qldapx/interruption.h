#pragma once

namespace qldapx {

/**
 * While this lives, the first Ctrl-C (or SIGTERM, SIGHUP) only asks the command to end; a second
 * one ends the process.
 */
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    [[nodiscard]] static bool requested();
    /** Waits until there is something to read, or the command is to end, or a second is over. */
    static void wait(int descriptor);
    /** Ends by the signal itself, so that a shell's loop around the process ends too. */
    static void endProcess();
};

} // namespace qldapx
