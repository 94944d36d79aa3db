#include "schema/dot_parts.h"
#include "schema/dot_text.h"
#include "schema/graph_dot.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace qldapx {
namespace {

std::string listed(const std::vector<std::string> &names, const char *start, const char *end) {
    constexpr std::size_t inLine = 4;
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i % inLine == 0 ? "<BR ALIGN=\"LEFT\"/>" : ", ") + dotMarkup(names[i]);
    return text.empty() ? text : start + text + "<BR ALIGN=\"LEFT\"/>" + end;
}

class InheritanceGraph {
  public:
    InheritanceGraph(const Model &model, const ClassGraph &graph, const GraphStyle &style)
        : model_(model), graph_(graph), style_(style) {
        for (const Element *element : graph.classes)
            ids_.emplace(element, fmt::format("c{}", ids_.size()));
    }

    std::string text() {
        std::string text = graphStart(style_.title);
        for (const Element *element : graph_.classes)
            text += node(*element);
        for (std::size_t i = 0; i < graph_.bundles.size(); ++i)
            text += bundleNode(fmt::format("b{}", i), graph_.bundles[i]);
        return text + side() + "}\n";
    }

  private:
    [[nodiscard]] std::string cell(const Element &element) const {
        const ClassLook &look = lookOf(element);
        const bool chosen =
            std::find(style_.chosen.begin(), style_.chosen.end(), &element) != style_.chosen.end();
        std::string content = dotMarkup(element.title());
        if (style_.detail != GraphDetail::None)
            content += listed(element.values("MUST"), "<B>", "</B>");
        if (style_.detail == GraphDetail::Attributes)
            content += listed(element.values("MAY"), "", "");
        return fmt::format("<TD BORDER=\"{}\" STYLE=\"{}\" BGCOLOR=\"{}\" ALIGN=\"LEFT\" "
                           "HREF=\"#\" TOOLTIP=\"{}\">{}</TD>",
                           chosen ? 3 : 1, look.border, look.fill,
                           dotMarkupAttribute(tooltipOf(element)), content);
    }

    [[nodiscard]] std::string edges(const std::string &id,
                                    const std::vector<const Element *> &above) const {
        std::string text;
        for (const Element *superior : above) {
            const auto found = ids_.find(superior);
            if (found != ids_.end())
                text += fmt::format("  {} -> {};\n", found->second, id);
        }
        return text;
    }

    [[nodiscard]] std::string node(const Element &element) const {
        const std::string &id = ids_.at(&element);
        return fmt::format("  {} [tooltip=\"{}\", label=<<TABLE BORDER=\"0\" CELLSPACING=\"0\" "
                           "CELLPADDING=\"4\"><TR>{}</TR></TABLE>>];\n",
                           id, dotQuoted(tooltipOf(element)), cell(element)) +
               edges(id, directSuperiors(model_, element));
    }

    /** As many columns as make a table about as wide as it is high: a cell is five times wider. */
    static std::size_t columnsFor(std::size_t count) {
        constexpr double shape = 4.0;
        return std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(
                                            std::sqrt(static_cast<double>(count) / shape))));
    }

    static std::string placeOf(const ClassBundle &bundle) {
        std::string names;
        for (const Element *superior : bundle.superiors)
            names += (names.empty() ? "" : ", ") + dotMarkup(superior->title());
        return names.empty() ? "without superior" : "right below " + names;
    }

    [[nodiscard]] std::string table(const ClassBundle &bundle, std::size_t columns) const {
        std::vector<std::string> cells;
        for (const Element *element : bundle.classes)
            cells.push_back(cell(*element));
        return fmt::format("<TABLE BORDER=\"1\" COLOR=\"#a0a0a0\" CELLSPACING=\"3\" "
                           "CELLPADDING=\"3\">\n<TR><TD BORDER=\"0\" COLSPAN=\"{}\">"
                           "<I>{} {} class{} {} and without subclasses</I></TD></TR>\n{}</TABLE>",
                           columns, cells.size(), lookOf(bundle.kind).word,
                           cells.size() == 1 ? "" : "es", placeOf(bundle),
                           cellRows(cells, columns));
    }

    [[nodiscard]] std::string bundleNode(const std::string &id, const ClassBundle &bundle) const {
        return fmt::format("  {} [label=<{}>];\n", id,
                           table(bundle, columnsFor(bundle.classes.size()))) +
               edges(id, bundle.superiors);
    }

    /** What stands beside the tree: the legend, and the classes that have no place in it. */
    [[nodiscard]] std::string side() const {
        std::string rows = "<TR><TD>" + legendTable("arrows lead to the superior") + "</TD></TR>\n";
        std::size_t columns = 1; // the same in all, so that they are of one width
        for (const ClassBundle &bundle : graph_.apart)
            columns = std::max(columns, columnsFor(bundle.classes.size()));
        for (const ClassBundle &bundle : graph_.apart)
            rows += "<TR><TD>" + table(bundle, columns) + "</TD></TR>\n";
        return fmt::format("  side [sortv=1, label=<<TABLE BORDER=\"0\" CELLSPACING=\"8\" "
                           "CELLPADDING=\"0\">\n{}</TABLE>>];\n",
                           rows);
    }

    const Model &model_;
    const ClassGraph &graph_;
    const GraphStyle &style_;
    std::unordered_map<const Element *, std::string> ids_;
};

} // namespace

std::string drawInheritance(const Model &model, const ClassGraph &graph, const GraphStyle &style) {
    return InheritanceGraph(model, graph, style).text();
}

} // namespace qldapx
