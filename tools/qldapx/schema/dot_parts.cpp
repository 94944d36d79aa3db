#include "schema/dot_parts.h"

#include "schema/class_graph.h"
#include "schema/dot_text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

constexpr std::array looks = {
    ClassLook{"ABSTRACT", "abstract", "#f2f2f2", "DASHED"},
    ClassLook{"STRUCTURAL", "structural", "#d6e6f7", "SOLID"},
    ClassLook{"AUXILIARY", "auxiliary", "#dff0d4", "ROUNDED"},
};

} // namespace

const ClassLook &lookOf(std::string_view kind) {
    return *std::find_if(looks.begin(), looks.end() - 1,
                         [&](const ClassLook &look) { return look.kind == kind; });
}

const ClassLook &lookOf(const Element &element) {
    return lookOf(classKind(element));
}

std::string graphStart(const std::string &title) {
    return fmt::format("digraph schema {{\n"
                       "  graph [rankdir=LR, label=\"{}\", labelloc=t, fontname=\"Helvetica\",\n"
                       "         fontsize=20, nodesep=0.12, ranksep=0.6, pad=0.3,\n"
                       "         pack=16, packmode=\"array_ut1\"];\n"
                       "  node [shape=plain, fontname=\"Helvetica\", fontsize=11];\n"
                       "  edge [dir=back, arrowtail=empty, arrowsize=0.7, color=\"#606060\",\n"
                       "        fontname=\"Helvetica\", fontsize=10];\n",
                       dotQuoted(title));
}

std::string legendTable(const char *note) {
    std::string cells;
    for (const ClassLook &look : looks)
        cells += fmt::format("<TD BORDER=\"1\" STYLE=\"{}\" BGCOLOR=\"{}\">{}</TD>", look.border,
                             look.fill, look.word);
    return fmt::format("<TABLE BORDER=\"0\" CELLSPACING=\"4\" CELLPADDING=\"4\">"
                       "<TR>{}<TD>{}</TD></TR></TABLE>",
                       cells, note);
}

std::string tooltipOf(const Element &element) {
    const std::string desc = element.value("DESC");
    return element.key + (desc.empty() ? "" : ": " + desc);
}

std::string cellRows(const std::vector<std::string> &cells, std::size_t columns) {
    const std::size_t rows = (cells.size() + columns - 1) / columns;
    std::string text;
    for (std::size_t row = 0; row < rows; ++row) {
        text += "<TR>";
        for (std::size_t i = row; i < columns * rows; i += rows)
            text += i < cells.size() ? cells[i] : "<TD BORDER=\"0\"></TD>";
        text += "</TR>\n";
    }
    return text;
}

} // namespace qldapx
