#include "schema/show.h"

#include "errors.h"
#include "schema/element_json.h"
#include "schema/inheritance.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace qldapx {
namespace {

/** Labels and texts of one part of the picture, wrapped at the screen's width. */
class Section {
  public:
    Section(Output &out, std::string heading) : out_(out), heading_(std::move(heading)) {}
    ~Section() = default;
    Section(const Section &) = delete;
    Section &operator=(const Section &) = delete;

    void row(const std::string &label, const std::string &text) { rows_.emplace_back(label, text); }
    void print() const {
        constexpr std::size_t indent = 2, gap = 2, narrowest = 30;
        if (rows_.empty())
            return;
        out_.line(out_.style().bold(heading_));
        std::size_t width = 0;
        for (const auto &[label, text] : rows_)
            width = std::max(width, columns(label));
        const std::size_t used = indent + width + (width == 0 ? 0 : gap);
        const std::size_t screen = terminalWidth() == 0 ? screenWidth : terminalWidth();
        const std::size_t left = std::max(screen, used + narrowest) - used;
        for (const auto &[label, text] : rows_)
            printRow(label, wrapped(text, left), used);
    }

  private:
    void printRow(const std::string &label, const std::vector<std::string> &lines,
                  std::size_t used) const {
        std::string start = "  " + label;
        for (const std::string &line : lines) {
            start.resize(used + start.size() - columns(start), ' ');
            out_.line(start + line);
            start.clear();
        }
        if (lines.empty())
            out_.line(start);
    }

    Output &out_;
    std::string heading_;
    std::vector<std::pair<std::string, std::string>> rows_;
};

/** A name as it is written, and what it stands for where that is not the same. */
std::string explained(const Model &model, Kind kind, const std::string &name) {
    const Element *element = model.resolve(kind, withoutBound(name));
    if (element == nullptr)
        return name + " (unknown here)";
    const std::string words = kind == Kind::syntax ? element->value("DESC") : element->title();
    return words.empty() || sameText(words, name) ? name : fmt::format("{} ({})", name, words);
}

std::string valuesText(const Model &model, const Element &element, const Field &field) {
    const Keyword *keyword = keywordOf(element.kind, field.keyword);
    std::vector<std::string> texts = field.values;
    if (keyword != nullptr && keyword->refersTo)
        for (std::string &text : texts)
            text = explained(model, *keyword->refersTo, text);
    return printable(fmt::format("{}", fmt::join(texts, ", ")));
}

using UsesByKeyword = std::map<std::pair<Kind, std::string>, std::vector<std::string>>;

void printUses(Output &out, const Model &model, const Element &element) {
    UsesByKeyword groups;
    for (const Use &use : model.uses(element))
        groups[{use.user->kind, use.keyword}].push_back(printable(use.user->title()));
    Section section(out, "used by");
    for (auto &[what, names] : groups) {
        std::sort(names.begin(), names.end());
        section.row(fmt::format("{} of {}", what.second, namesOf(what.first).titles),
                    fmt::format("{}", fmt::join(names, ", ")));
    }
    section.print();
}

void printElement(Output &out, const Model &model, const Element &element) {
    Section fields(out, element.label());
    for (const Field &field : element.fields)
        fields.row(printable(field.keyword), valuesText(model, element, field));
    fields.print();
    Section inherited(out, "inherited");
    for (const InheritedField &field : inheritedFields(model, element))
        inherited.row(fmt::format("{} of {}", field.keyword, printable(field.from->title())),
                      valuesText(model, *field.from, {field.keyword, field.values}));
    inherited.print();
    printUses(out, model, element);
    Section faults(out, "faults");
    for (const std::string &fault : brokenReferences(model, element))
        faults.row("", fault);
    faults.print();
    Section definition(out, "definition");
    definition.row("", printable(element.description));
    definition.print();
}

Output::Json elementReport(const Model &model, const Element &element) {
    Output::Json json = jsonElement(element);
    json["inherited"] = Output::Json::array();
    for (const InheritedField &field : inheritedFields(model, element))
        json["inherited"].push_back(
            {{"keyword", field.keyword}, {"values", field.values}, {"from", field.from->title()}});
    json["usedBy"] = Output::Json::array();
    for (const Use &use : model.uses(element)) {
        Output::Json user = jsonReference(*use.user);
        user["keyword"] = use.keyword;
        json["usedBy"].push_back(std::move(user));
    }
    json["faults"] = brokenReferences(model, element);
    return json;
}

std::optional<Kind> givenKind(const ShowOptions &options) {
    return options.kind.empty() ? std::nullopt : std::optional(requireKind(options.kind));
}

} // namespace

void showElements(Run &run, const ShowOptions &options) {
    const auto kind = givenKind(options);
    const Source source = readSource(run, options);
    const auto elements = requireElements(run, source, options.name, kind);
    if (run.out.isJson()) {
        Output::Json list = Output::Json::array();
        for (const Element *element : elements)
            list.push_back(elementReport(source.model, *element));
        return run.out.json(list);
    }
    for (const Element *element : elements) {
        if (element != elements.front())
            run.out.line("");
        printElement(run.out, source.model, *element);
    }
}

} // namespace qldapx
