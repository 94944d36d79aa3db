#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace test {

/** As much of a terminal as the tool uses: what its screen shows after some output. */
class Emulator {
  public:
    Emulator(std::size_t columns, std::size_t rows) : columns_(columns), rows_(rows) { clear(); }

    void feed(std::string_view output);

    /** The lines of the screen, without the blanks at their ends. */
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] std::string text() const;
    /** Whether something was written beyond the last column or below the last line. */
    [[nodiscard]] bool overflowed() const { return overflowed_; }
    [[nodiscard]] bool otherScreen() const { return otherScreen_; }
    [[nodiscard]] bool cursorShown() const { return cursorShown_; }
    [[nodiscard]] bool coloured() const { return coloured_; }

  private:
    void clear();
    void control(std::string_view parameters, char letter);
    void setMode(std::string_view mode, bool on);
    void erase(std::size_t fromColumn, std::size_t fromRow, std::size_t toRow);
    void put(std::string_view character);
    void newLine();

    std::size_t columns_, rows_;
    std::vector<std::vector<std::string>> cells_;
    std::size_t column_ = 0, row_ = 0;
    bool overflowed_ = false, otherScreen_ = false, cursorShown_ = true, coloured_ = false;
};

} // namespace test
