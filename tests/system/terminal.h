#pragma once

#include "system/process.h"

#include <chrono>

namespace test {

/** A program on a terminal of its own, where somebody types. */
class Terminal {
  public:
    struct Size {
        unsigned short rows = 24, columns = 80;
    };
    Terminal(const Arguments &arguments, const Surroundings &surroundings)
        : Terminal(arguments, surroundings, Size()) {}
    Terminal(const Arguments &arguments, const Surroundings &surroundings, Size size);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    void type(const std::string &keys) const;
    /** Waits until the screen shows this; false when it never does. */
    bool waitFor(const std::string &text);
    /** Waits until that holds of what was shown; false when it never does. */
    template <typename Condition>
    bool waitUntil(const Condition &condition) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!condition(screen_))
            if (std::chrono::steady_clock::now() > deadline || !readMore(patience.count()))
                return false;
        return true;
    }
    [[nodiscard]] bool echoes() const;
    void resize(Size size) const;
    void signal(int number) const;
    /** All that was shown, and how the tool ended. */
    Result finish();

  private:
    static constexpr std::chrono::milliseconds patience{20000};
    bool readMore(long milliseconds);

    pid_t pid_ = -1;
    int master_ = -1;
    int slave_ = -1; // kept open so that the terminal's settings can be looked at afterwards
    std::string screen_;
};

} // namespace test
