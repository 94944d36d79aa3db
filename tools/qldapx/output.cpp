#include "output.h"

#include "errors.h"
#include "harmless_json.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <string_view>
#include <unistd.h>

namespace qldapx {
namespace {

std::string_view variable(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
}

std::vector<std::size_t> columnWidths(const Output::Rows &rows) {
    std::vector<std::size_t> widths;
    for (const auto &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], columns(row[i]));
    }
    return widths;
}

} // namespace

Style::Style(int descriptor)
    : coloured_(isatty(descriptor) == 1 && variable("NO_COLOR").empty() &&
                variable("TERM") != "dumb" && !variable("TERM").empty()) {}

std::string Style::wrap(const char *code, const std::string &text) const {
    return coloured_ ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : text;
}

Output::Output(bool json) : json_(json), style_(STDOUT_FILENO) {}

void Output::text(const std::string &text) {
    const std::string harmless = json_ ? harmlessJson(text) : std::string();
    const std::string &written = json_ ? harmless : text;
    if (std::fwrite(written.data(), 1, written.size(), stdout) != written.size())
        throw OutputError(errno);
}

void Output::flush() {
    if (std::fflush(stdout) != 0)
        throw OutputError(errno);
}

void Output::table(const Rows &rows) {
    const auto widths = columnWidths(rows);
    for (const auto &row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += i == 0 ? style_.bold(row[i]) : row[i];
            if (i + 1 < row.size())
                line += std::string(widths[i] - columns(row[i]) + 2, ' ');
        }
        this->line(line.substr(0, line.find_last_not_of(' ') + 1));
    }
}

void Output::done(const std::string &sentence, const Json &fields) {
    if (!json_) {
        line(style_.green(sentence));
        return;
    }
    Json result = {{"result", "success"}};
    result.update(fields);
    json(result);
}

} // namespace qldapx
