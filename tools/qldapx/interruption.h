#pragma once

#include "signals.h"

#include <chrono>
#include <optional>
#include <poll.h>
#include <span>

namespace qldapx {

/**
 * While this lives, the first Ctrl-C (or SIGTERM, SIGHUP) only asks the command to end; a second
 * one ends the process. One inside the life of another changes nothing.
 */
class Interruption {
  public:
    /** What a second signal does before the process ends; callable from a signal handler. */
    using LastAct = void (*)();

    explicit Interruption(LastAct lastAct = nullptr);
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    [[nodiscard]] static bool requested();
    /** Waits as poll does, or until the command is to end; at most two descriptors. */
    static void wait(std::span<pollfd> ends, std::chrono::milliseconds longest);
    /** Ends by the signal itself, so that a shell's loop around the process ends too. */
    static void endProcess();

  private:
    const bool isOutermost_;
    std::optional<EndingHandlers> handlers_;
};

} // namespace qldapx
