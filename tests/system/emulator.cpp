#include "system/emulator.h"

#include <gtest/gtest.h>

namespace test {

void Emulator::clear() {
    cells_.assign(rows_, std::vector<std::string>(columns_, " "));
}

void Emulator::feed(std::string_view output) {
    while (!output.empty()) {
        std::size_t length = 1;
        if (output.starts_with("\x1b[")) {
            const std::size_t end = output.find_first_not_of("0123456789;?", 2);
            if (end == std::string_view::npos)
                return; // the rest has not come yet
            control(output.substr(2, end - 2), output[end]);
            length = end + 1;
        } else if (output.front() == '\r') {
            column_ = 0;
        } else if (output.front() == '\n') {
            newLine();
        } else {
            while (length < output.size() && (output[length] & 0xc0) == 0x80)
                ++length;
            put(output.substr(0, length));
        }
        output.remove_prefix(length);
    }
}

void Emulator::control(std::string_view parameters, char letter) {
    if (letter == 'H' && parameters.empty())
        column_ = row_ = 0;
    else if (letter == 'K' && parameters.empty())
        erase(column_, row_, row_ + 1);
    else if (letter == 'J' && parameters.empty())
        erase(column_, row_, rows_);
    else if (letter == 'J' && parameters == "2")
        clear();
    else if (letter == 'm')
        coloured_ = coloured_ || parameters != "0";
    else if ((letter == 'h' || letter == 'l') && parameters.starts_with("?"))
        setMode(parameters.substr(1), letter == 'h');
    else
        ADD_FAILURE() << "no sequence that every terminal has: " << parameters << letter;
}

void Emulator::setMode(std::string_view mode, bool on) {
    if (mode == "1049")
        otherScreen_ = on;
    else if (mode == "25")
        cursorShown_ = on;
    else
        EXPECT_TRUE(mode == "7" || mode == "2026") << mode; // no wrapping; a frame begins or ends
}

void Emulator::erase(std::size_t fromColumn, std::size_t fromRow, std::size_t toRow) {
    for (std::size_t row = fromRow; row < toRow; ++row, fromColumn = 0)
        for (std::size_t column = fromColumn; column < columns_; ++column)
            cells_[row][column] = " ";
}

void Emulator::put(std::string_view character) {
    if (column_ >= columns_) {
        overflowed_ = true;
        return;
    }
    cells_[row_][column_++] = character;
}

void Emulator::newLine() {
    if (row_ + 1 < rows_)
        ++row_;
    else
        overflowed_ = true;
}

std::vector<std::string> Emulator::lines() const {
    std::vector<std::string> all;
    for (const auto &row : cells_) {
        std::string line;
        for (const std::string &cell : row)
            line += cell;
        all.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    return all;
}

std::string Emulator::text() const {
    std::string all;
    for (const std::string &line : lines())
        all += line + "\n";
    return all;
}

} // namespace test
