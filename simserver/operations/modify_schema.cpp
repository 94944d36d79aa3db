#include "operations/schema_use.h"
#include "operations/write.h"
#include "schema/check.h"
#include "schema/draft.h"
#include "subschema.h"

#include <fmt/format.h>

#include <unordered_set>

namespace stratasim {
namespace {

using schema::Element;
using schema::Kind;
using schema::Model;

[[noreturn]] void refuse(const std::string &why) {
    throw OperationError(ResultCode::UnwillingToPerform, why);
}

Kind requireKind(const RequestedAttribute &attribute) {
    if (const auto kind = schema::kindOfAttribute(attribute.name))
        return *kind;
    // An OID or another name of the same attribute.
    for (const schema::KindRow &row : schema::kKindRows)
        if (attribute.key == schema::keyOf(row.attribute))
            return row.kind;
    refuse(fmt::format("{} of the subschema is kept by the server", attribute.name));
}

Element parse(Kind kind, const std::string &value) {
    try {
        return std::make_shared<const schema::Description>(schema::Description::parse(kind, value));
    } catch (const schema::SyntaxError &error) {
        throw OperationError(ResultCode::InvalidAttributeSyntax,
                             fmt::format("{}: {}", schema::rowOf(kind).attribute, error.what()));
    }
}

void apply(schema::Draft &draft, const RequestedChange &change) {
    const Kind kind = requireKind(change.attribute);
    const auto changeKind = static_cast<ChangeKind>(change.kind);
    std::vector<Element> elements;
    for (const std::string &value : change.attribute.values)
        elements.push_back(parse(kind, value));
    if (changeKind == ChangeKind::Increment)
        refuse("descriptions cannot be incremented");
    if (elements.empty() && changeKind == ChangeKind::Add)
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("no value of {} to add", change.attribute.name));
    if (elements.empty())
        refuse(fmt::format("all of {} cannot go: name the values", change.attribute.name));
    if (changeKind == ChangeKind::Replace)
        return draft.replaceAll(kind, elements);
    for (const Element &element : elements)
        changeKind == ChangeKind::Add ? draft.add(element) : draft.remove(*element);
}

/** What did not fit together before, as some files' elements do not, may stay as it is. */
void requireSound(const Model &before, const Model &after) {
    const auto problems = check(after);
    if (problems.empty())
        return;
    std::unordered_set<std::string> known;
    for (const schema::Problem &problem : check(before))
        known.insert(problem.text);
    for (const schema::Problem &problem : problems)
        if (!known.contains(problem.text))
            throw OperationError(problem.code, problem.text);
}

} // namespace

Result modifySchema(Context &context, const ModifyRequest &request) {
    Directory &directory = context.directory;
    requireRight(directory, context.identity, kSubschemaDn, "*", right::kWrite);
    if (directory.schemaVerbatim)
        refuse("the schema is served as a file has it, and stays so");
    const schema::Slot before = directory.schema;
    schema::Draft draft(*before);
    for (const RequestedChange &change : request.changes)
        apply(draft, change);
    const auto after = std::make_shared<const Model>(draft.finish(), before.get(),
                                                     undescribedNames(directory.tree, *before));
    requireSound(*before, *after);
    requireNamesKept(directory.tree, *before, *after);

    directory.schema = after;
    directory.topology.schemaChanged();
    const auto node = directory.tree.find(kSubschemaDn);
    Entry entry = node->entry;
    showSchema(entry, *after);
    directory.stampModified(entry, context.identity);
    directory.tree.replace(*node, std::move(entry));
    return {};
}

} // namespace stratasim
