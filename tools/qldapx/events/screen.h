#pragma once

#include "output.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace qldapx {

struct ScreenSize {
    std::size_t columns;
    std::size_t rows;
    bool operator==(const ScreenSize &) const = default;
};

/** A line of the screen; its text is printable. */
struct ScreenLine {
    enum class Look { Plain, Heading, Alarm };
    std::string text;
    Look look = Look::Plain;
};

/**
 * The whole of the terminal, as another screen than the one that was there. However the process
 * ends, the terminal is afterwards as it was.
 */
class Screen {
  public:
    /** Throws UsageError when standard output is no terminal that can do it. */
    static void requireTerminal();

    explicit Screen(const Style &style);
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    [[nodiscard]] static ScreenSize size();
    /** Shows these lines, each cut to the screen's width, in one write. */
    void show(const std::vector<ScreenLine> &lines);
    /** A descriptor that is readable when a key was pressed; -1 when there is no keyboard. */
    [[nodiscard]] int keyboard() const { return keyboard_; }
    /** The key that was pressed; none when there was none. */
    std::optional<char> key();
    /** Gives the terminal back; callable from a signal handler. */
    static void restore();

  private:
    const Style &style_;
    int keyboard_;
};

} // namespace qldapx
