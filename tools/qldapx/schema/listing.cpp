#include "schema/listing.h"

#include "errors.h"
#include "schema/element_json.h"
#include "standard_streams.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <fnmatch.h>
#include <set>
#include <unistd.h>

namespace qldapx {
namespace {

std::string joined(const std::vector<std::string> &values) {
    return fmt::format("{}", fmt::join(values, ", "));
}

std::string syntaxText(const Model &model, const std::string &oid) {
    const Element *syntax = model.resolve(Kind::syntax, withoutBound(oid));
    const std::string name = syntax == nullptr ? "" : syntax->value("DESC");
    return name.empty() ? oid : name + oid.substr(withoutBound(oid).size());
}

std::string attributeFact(const Model &model, const Element &element) {
    std::string fact = element.has("SUP") ? "SUP " + element.value("SUP") : "";
    if (element.has("SYNTAX"))
        fact += (fact.empty() ? "" : ", ") + syntaxText(model, element.value("SYNTAX"));
    return fact;
}

std::string classFact(const Model & /*model*/, const Element &element) {
    std::string fact;
    for (const char *kind : {"ABSTRACT", "STRUCTURAL", "AUXILIARY"})
        if (element.has(kind))
            fact = lowerCase(kind);
    return element.has("SUP") ? fact + ", SUP " + joined(element.values("SUP")) : fact;
}

std::string structureFact(const Model & /*model*/, const Element &element) {
    const std::string fact = "FORM " + element.value("FORM");
    return element.has("SUP") ? fact + ", SUP " + joined(element.values("SUP")) : fact;
}

std::string contentFact(const Model &model, const Element &element) {
    const Element *subject = model.resolve(Kind::object_class, element.key);
    const std::string fact = "of " + (subject == nullptr ? element.key : subject->title());
    return element.has("AUX") ? fact + ", AUX " + joined(element.values("AUX")) : fact;
}

using Fact = std::string (*)(const Model &, const Element &);
constexpr std::array<Fact, kindCount> facts = {
    attributeFact,
    classFact,
    [](const Model & /*model*/, const Element &element) { return element.value("DESC"); },
    [](const Model &model, const Element &element) {
        return syntaxText(model, element.value("SYNTAX"));
    },
    [](const Model & /*model*/, const Element &element) {
        return "APPLIES " + joined(element.values("APPLIES"));
    },
    [](const Model & /*model*/, const Element &element) {
        return "OC " + element.value("OC") + ", MUST " + joined(element.values("MUST"));
    },
    contentFact,
    structureFact,
};

std::set<Kind> wantedKinds(const ListOptions &options) {
    std::set<Kind> kinds;
    for (const std::string &name : options.kinds)
        kinds.insert(requireKind(name));
    return kinds.empty() ? std::set<Kind>(allKinds.begin(), allKinds.end()) : kinds;
}

bool isLike(const Element &element, const std::string &pattern) {
    const auto matches = [&](const std::string &text) {
        return fnmatch(pattern.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
    };
    return pattern.empty() || matches(element.key) ||
           std::any_of(element.names().begin(), element.names().end(), matches);
}

std::vector<const Element *> chosen(const Model &model, const ListOptions &options) {
    std::vector<std::pair<std::string, const Element *>> found;
    for (const Kind kind : wantedKinds(options))
        for (const Element &element : model.elements(kind))
            if (isLike(element, options.like))
                found.emplace_back(lowerCase(element.title()), &element);
    std::stable_sort(found.begin(), found.end(),
                     [](const auto &left, const auto &right) { return left.first < right.first; });
    std::vector<const Element *> elements;
    elements.reserve(found.size());
    for (const auto &[name, element] : found)
        elements.push_back(element);
    return elements;
}

void printTable(Run &run, const Model &model, const std::vector<const Element *> &elements,
                bool withKind) {
    Output::Rows rows;
    for (const Element *element : elements) {
        const Fact fact = facts.at(static_cast<std::size_t>(element->kind));
        std::vector<std::string> row = {printable(joined(element->names())),
                                        printable(element->key), printable(fact(model, *element))};
        if (withKind)
            row.insert(row.begin(), namesOf(element->kind).word);
        rows.push_back(std::move(row));
    }
    run.out.table(rows);
}

// For people only: a program counts the lines.
void printCount(std::size_t count) {
    if (isatty(STDOUT_FILENO) == 1)
        tell(fmt::format("{} element{}\n", count, count == 1 ? "" : "s"));
}

} // namespace

void listSchema(Run &run, const ListOptions &options) {
    const bool withKind = wantedKinds(options).size() > 1;
    const Source source = readSource(run, options);
    const auto elements = chosen(source.model, options);
    if (run.out.isJson()) {
        Output::Json list = Output::Json::array();
        for (const Element *element : elements)
            list.push_back(jsonElement(*element));
        run.out.json(list);
        return;
    }
    printTable(run, source.model, elements, withKind);
    run.out.flush();
    printCount(elements.size());
}

} // namespace qldapx
