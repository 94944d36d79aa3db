#include "schema/dot_parts.h"
#include "schema/dot_text.h"
#include "schema/graph_dot.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

/** What a class or content rule says of attributes, and how a picture shows it. */
struct Rule {
    const char *keyword;
    const char *shape; // {} is the name
};
constexpr Rule rules[] = {{"MUST", "<B>{} *</B>"}, {"MAY", "{}"}, {"NOT", "<S>{}</S>"}};

std::string attributeCell(const Model &model, const std::string &name, const Rule &rule) {
    const Element *type = model.resolve(Kind::attribute_type, name);
    const std::string tip = type == nullptr ? "unknown here" : tooltipOf(*type);
    const std::string shown = dotMarkup(type == nullptr ? name : type->title());
    return fmt::format("<TD BORDER=\"0\" ALIGN=\"LEFT\" HREF=\"#\" TOOLTIP=\"{}\">{}</TD>",
                       dotMarkupAttribute(tip), fmt::format(fmt::runtime(rule.shape), shown));
}

std::vector<std::string> sortedNames(std::vector<std::string> names) {
    std::sort(names.begin(), names.end(), [](const auto &left, const auto &right) {
        return lowerCase(left) < lowerCase(right);
    });
    return names;
}

/** A class or content rule with its own attributes, those that it requires first. */
std::string record(const Model &model, const std::string &id, const Element &element,
                   const ClassLook &look, const char *remark) {
    constexpr std::size_t rowsOfColumn = 12;
    std::vector<std::string> cells;
    for (const Rule &rule : rules)
        for (const std::string &name : sortedNames(element.values(rule.keyword)))
            cells.push_back(attributeCell(model, name, rule));
    const std::size_t columns =
        std::max<std::size_t>(1, (cells.size() + rowsOfColumn - 1) / rowsOfColumn);
    return fmt::format("  {} [tooltip=\"{}\", label=<<TABLE BORDER=\"1\" STYLE=\"{}\" "
                       "CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"3\">\n"
                       "<TR><TD COLSPAN=\"{}\" BORDER=\"1\" SIDES=\"B\" BGCOLOR=\"{}\">"
                       "<B><FONT POINT-SIZE=\"14\">{}</FONT></B><BR/>{}{}</TD></TR>\n{}"
                       "</TABLE>>];\n",
                       id, dotQuoted(tooltipOf(element)), look.border, columns, look.fill,
                       dotMarkup(element.title()), look.word, remark,
                       cells.empty() ? "<TR><TD><I>no attributes of its own</I></TD></TR>"
                                     : cellRows(cells, columns));
}

class EntryGraph {
  public:
    EntryGraph(const Model &model, const Element &element) : model_(model), element_(element) {
        classes_ = superiors(model, element);
        classes_.insert(classes_.begin(), &element);
        for (const Element *each : classes_)
            ids_.emplace(each, fmt::format("c{}", ids_.size()));
    }

    std::string text(const std::string &title) {
        std::string text =
            graphStart(title) +
            fmt::format("  legend [sortv=1, label=<{}>];\n",
                        legendTable("<B>bold *</B>: required<BR/><S>struck</S>: not allowed"));
        for (const Element *each : classes_)
            text += record(model_, ids_.at(each), *each, lookOf(*each), "") + edges(*each);
        return text + contentRules() + "}\n";
    }

  private:
    [[nodiscard]] std::string edges(const Element &element) const {
        std::string text;
        for (const Element *superior : directSuperiors(model_, element))
            text += fmt::format("  {} -> {};\n", ids_.at(superior), ids_.at(&element));
        return text;
    }

    /** What the rule itself says, and the auxiliary classes that an entry may have besides. */
    std::string contentRules() {
        std::string text;
        for (const Element *rule : model_.find(Kind::dit_content_rule, element_.key)) {
            const std::string id = fmt::format("r{}", rules_++);
            text += record(model_, id, *rule, ruleLook, "") + side(ids_.at(&element_), id);
            for (const std::string &name : rule->values("AUX"))
                if (const Element *auxiliary = model_.resolve(Kind::object_class, name))
                    text += auxiliaryNode(*auxiliary, id);
        }
        return text;
    }

    static std::string side(const std::string &from, const std::string &to) {
        return fmt::format("  {} -> {} [style=dashed, arrowtail=none];\n", from, to);
    }

    std::string auxiliaryNode(const Element &auxiliary, const std::string &rule) {
        const auto [id, isNew] = ids_.emplace(&auxiliary, fmt::format("c{}", ids_.size()));
        const std::string node =
            isNew ? record(model_, id->second, auxiliary, lookOf(auxiliary), ", may be added") : "";
        return node + side(rule, id->second);
    }

    static constexpr ClassLook ruleLook = {"", "content rule", "#fdf3d0", "dashed"};

    std::size_t rules_ = 0;
    const Model &model_;
    const Element &element_;
    std::vector<const Element *> classes_;
    std::unordered_map<const Element *, std::string> ids_;
};

} // namespace

std::string drawEntry(const Model &model, const Element &element, const std::string &title) {
    return EntryGraph(model, element).text(title);
}

} // namespace qldapx
