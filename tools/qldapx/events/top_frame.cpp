#include "events/top_frame.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace qldapx {
namespace {

using Lines = std::vector<ScreenLine>;
using Look = ScreenLine::Look;
using Number = std::pair<const std::int32_t, TopModel::Type>;

std::string amount(std::uint64_t count, const char *what) {
    return fmt::format("  {} {}", count, what);
}

ScreenLine header(const TopModel &model) {
    if (!model.loss.empty())
        return {fmt::format("{}  trying again", model.loss), Look::Alarm};
    if (model.server.empty())
        return {"connecting ...", Look::Heading};
    return {fmt::format("{}  since {}{}", model.server,
                        localTime(model.since).substr(0, localTime(model.since).find('.')),
                        model.paused ? "  paused" : ""),
            Look::Heading};
}

ScreenLine totals(TopModel &model, Rate::Clock::time_point now) {
    std::string text = fmt::format("{} event{}  {:.1f}/s", model.count(),
                                   model.count() == 1 ? "" : "s", model.rate.over(1, now));
    if (model.errors() > 0)
        text += amount(model.errors(), "with errors");
    if (model.gaps > 0)
        text += amount(model.gaps, model.gaps == 1 ? "gap" : "gaps");
    if (model.undecodable > 0)
        text += amount(model.undecodable, "not understood");
    return {text + "   q quit  p pause  r reset", Look::Plain};
}

/** The widths of the table's columns on a screen of that width. */
struct Widths {
    explicit Widths(std::size_t screen) {
        constexpr std::size_t others = 49, longestName = 28, shortestName = 8;
        if (screen < others + shortestName)
            record = 0; // the counts say more
        else
            record = std::min(screen - others, longestName);
    }
    std::size_t record;
};

std::string tableLine(const Widths &widths, const std::string &type, std::string_view record,
                      const std::array<std::string, 4> &numbers) {
    const std::string name =
        widths.record == 0
            ? ""
            : fmt::format("  {:<{}}", record.substr(0, widths.record), widths.record);
    return fmt::format("{:>6}{} {:>11} {:>9} {:>9} {:>8}", type, name, numbers[0], numbers[1],
                       numbers[2], numbers[3]);
}

ScreenLine typeLine(const Widths &widths, Number &row, Rate::Clock::time_point now) {
    TopModel::Type &type = row.second;
    return {tableLine(widths, std::to_string(row.first), type.record,
                      {std::to_string(type.count), fmt::format("{:.1f}", type.rate.over(1, now)),
                       fmt::format("{:.1f}", type.rate.over(Rate::longest, now)),
                       std::to_string(type.errors)}),
            type.errors > 0 ? Look::Alarm : Look::Plain};
}

/** All types, or the busiest when there are more than lines; in the order of their numbers. */
std::vector<Number *> shownTypes(TopModel &model, std::size_t lines) {
    std::vector<Number *> rows;
    for (Number &each : model.types)
        rows.push_back(&each);
    if (rows.size() <= lines)
        return rows;
    std::stable_sort(rows.begin(), rows.end(), [](const Number *one, const Number *other) {
        return one->second.count > other->second.count;
    });
    rows.resize(lines);
    std::sort(rows.begin(), rows.end(),
              [](const Number *one, const Number *other) { return one->first < other->first; });
    return rows;
}

void addTable(Lines &lines, TopModel &model, ScreenSize size, Rate::Clock::time_point now) {
    constexpr std::size_t besides = 4, readable = 3;
    const std::size_t room = size.rows > besides ? (size.rows - besides) * 2 / 3 : 0;
    const Widths widths(size.columns);
    lines.push_back(
        {tableLine(widths, "TYPE", "RECORD", {"COUNT", "LAST 1S", "LAST 10S", "ERRORS"}),
         Look::Heading});
    const auto rows = shownTypes(model, std::max<std::size_t>(room, 1));
    for (Number *row : rows)
        lines.push_back(typeLine(widths, *row, now));
    if (rows.size() < model.types.size() && rows.size() >= readable)
        lines.back() = {fmt::format("{:>6}  and {} more", "", model.types.size() - rows.size() + 1),
                        Look::Plain};
}

} // namespace

std::vector<ScreenLine> topFrame(TopModel &model, ScreenSize size) {
    constexpr std::size_t roomy = 12;
    const auto now = Rate::Clock::now();
    Lines lines = {header(model), totals(model, now)};
    if (size.rows >= roomy)
        lines.emplace_back();
    addTable(lines, model, size, now);
    if (size.rows >= roomy) {
        lines.emplace_back();
        lines.push_back({"LATEST EVENTS: time, type, result, fields", Look::Heading});
    }
    const std::size_t room = size.rows > lines.size() ? size.rows - lines.size() : 0;
    const std::size_t first = model.latest.size() - std::min(room, model.latest.size());
    for (std::size_t i = first; i < model.latest.size(); ++i)
        lines.push_back({model.latest[i], Look::Plain});
    lines.resize(std::min(lines.size(), size.rows));
    return lines;
}

} // namespace qldapx
