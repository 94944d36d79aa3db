#pragma once

#include "system/process.h"

namespace test {

/** A program on a terminal of its own, where somebody types. */
class Terminal {
  public:
    Terminal(const Arguments &arguments, const Surroundings &surroundings);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void type(const std::string &keys) const;
    /** Waits until the screen shows this; false when it never does. */
    bool waitFor(const std::string &text);
    [[nodiscard]] bool echoes() const;
    /** All that was shown, and how the tool ended. */
    Result finish();

  private:
    bool readMore(int milliseconds);

    pid_t pid_ = -1;
    int master_ = -1;
    int slave_ = -1; // kept open so that the terminal's settings can be looked at afterwards
    std::string screen_;
};

} // namespace test
