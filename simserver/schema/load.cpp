#include "schema/check.h"
#include "schema/draft.h"
#include "schema/files.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim::schema {
namespace {

std::string explain(const Problem &problem) {
    const std::string &source = problem.element->source;
    return source.empty() ? problem.text : fmt::format("{}: {}", source, problem.text);
}

/** Puts the elements of the files in; says where one of them takes the place of another. */
void addElements(Draft &draft, std::vector<Element> elements, std::vector<std::string> &warnings) {
    std::array<TextMap<Element>, kKinds> seen;
    for (Element &element : elements) {
        Element &before = seen[indexOf(element->kind)][lowerCase(element->id)];
        if (before && !isSame(*before, *element))
            warnings.push_back(fmt::format("{}: {}: takes the place of the one of {}",
                                           element->source, element->title(), before->source));
        before = element;
        draft.put(std::move(element));
    }
}

/** Types that differ in nothing but OID and name. */
void addBulk(Draft &draft, std::size_t count) {
    for (std::size_t i = 1; i <= count; ++i)
        draft.put(std::make_shared<const Description>(Description::parse(
            Kind::AttributeType,
            fmt::format("( 2.16.840.1.907341.9.99.{} NAME 'bulkType{}' DESC 'Generated type {}' "
                        "EQUALITY caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )",
                        i, i, i))));
}

} // namespace

std::shared_ptr<const Model> load(const Files &files, std::size_t bulk,
                                  std::vector<std::string> &warnings) {
    const Model &builtIn = *Model::builtIn();
    Draft draft(builtIn);
    warnings = files.warnings();
    addElements(draft, files.parse(), warnings);
    addBulk(draft, bulk);
    auto model = std::make_shared<const Model>(draft.finish(), &builtIn);
    for (const Problem &problem : check(*model)) {
        if (!problem.bearable)
            throw FileError(explain(problem));
        warnings.push_back(explain(problem));
    }
    return model;
}

} // namespace stratasim::schema
