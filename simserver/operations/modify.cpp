#include "operations/write.h"

#include "schema.h"
#include "text.h"

#include <fmt/format.h>

#include <limits>
#include <unordered_set>

namespace stratasim {
namespace {

// Each of them looks at the values that are there, and nobody else is served meanwhile.
constexpr std::size_t kMaxChanges = 1000;

RequestedChange readChange(ber::Reader &reader) {
    ber::Reader fields = reader.sequence("change");
    const std::int64_t kind = fields.integer(ber::kEnumerated, "kind of change");
    return {kind, readAttribute(fields)};
}

void requireKinds(const ModifyRequest &request) {
    for (const RequestedChange &change : request.changes)
        if (change.kind < 0 || change.kind > static_cast<int>(ChangeKind::Increment))
            throw OperationError(ResultCode::ProtocolError,
                                 fmt::format("{} is no kind of change", change.kind));
}

[[noreturn]] void failMissing(const RequestedAttribute &wanted) {
    throw OperationError(ResultCode::NoSuchAttribute,
                         fmt::format("{} or its value is not there", wanted.name));
}

Attribute &requireAttribute(Entry &entry, const RequestedAttribute &wanted) {
    Attribute *attribute = entry.find(wanted.key);
    if (attribute == nullptr)
        failMissing(wanted);
    return *attribute;
}

void applyAdd(Entry &entry, const RequestedAttribute &wanted) {
    if (wanted.values.empty())
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("no value of {} to add", wanted.name));
    addValues(entry.ensure(wanted.name), wanted.values);
}

void applyDelete(Entry &entry, const RequestedAttribute &wanted) {
    Attribute &attribute = requireAttribute(entry, wanted);
    std::unordered_set<std::string> going;
    for (const std::string &value : wanted.values)
        if (!going.insert(normaliseValue(wanted.key, value)).second)
            failMissing(wanted);
    std::erase_if(attribute.values, [&](const std::string &value) {
        return going.erase(normaliseValue(wanted.key, value)) > 0;
    });
    if (!going.empty())
        failMissing(wanted);
    if (wanted.values.empty() || attribute.values.empty())
        entry.remove(wanted.key);
}

void applyReplace(Entry &entry, const RequestedAttribute &wanted) {
    entry.remove(wanted.key);
    if (!wanted.values.empty())
        addValues(entry.ensure(wanted.name), wanted.values);
}

// RFC 4525: one value, added to each value of the attribute.
void applyIncrement(Entry &entry, const RequestedAttribute &wanted) {
    if (wanted.values.size() != 1)
        throw OperationError(ResultCode::ProtocolError, "an increment takes one value");
    const auto step = parseInteger(wanted.values[0]);
    for (std::string &value : requireAttribute(entry, wanted).values) {
        const auto number = parseInteger(value);
        std::int64_t sum = 0;
        if (!step || !number || __builtin_add_overflow(*number, *step, &sum))
            throw OperationError(ResultCode::ConstraintViolation,
                                 fmt::format("{} cannot be incremented by that", wanted.name));
        value = std::to_string(sum);
    }
}

void apply(Entry &entry, const RequestedChange &change) {
    requireWritable(change.attribute);
    switch (static_cast<ChangeKind>(change.kind)) {
    case ChangeKind::Add:
        return applyAdd(entry, change.attribute);
    case ChangeKind::Delete:
        return applyDelete(entry, change.attribute);
    case ChangeKind::Replace:
        return applyReplace(entry, change.attribute);
    case ChangeKind::Increment:
        return applyIncrement(entry, change.attribute);
    }
}

void requireRdnKept(const Node &node, const Entry &entry) {
    for (const Ava &ava : node.rdn) {
        const Attribute *attribute = entry.find(schema::keyOf(ava.type));
        if (attribute == nullptr || !hasValue(*attribute, ava.value))
            throw OperationError(ResultCode::NotAllowedOnRdn,
                                 fmt::format("{}={} is part of the entry's name: rename it instead",
                                             ava.type, ava.value));
    }
}

} // namespace

ModifyRequest readModify(ber::Reader &fields) {
    ModifyRequest request;
    request.name = fields.text("entry to modify");
    ber::Reader list = fields.sequence("changes");
    while (!list.atEnd()) {
        if (request.changes.size() == kMaxChanges)
            throw OperationError(ResultCode::AdminLimitExceeded,
                                 fmt::format("more than {} changes in one request", kMaxChanges));
        request.changes.push_back(readChange(list));
    }
    return request;
}

Result modify(Context &context, Bytes body) {
    ber::Reader fields(body);
    const ModifyRequest request = readModify(fields);
    requireKinds(request);
    const Dn dn = requireDn(request.name);
    if (dn.key == kSubschemaDn)
        return modifySchema(context, request);
    requireUserEntry(dn);
    for (const RequestedChange &change : request.changes)
        requireRight(context.directory, context.identity, dn.key, change.attribute.key,
                     right::kWrite);
    const auto node = context.directory.tree.require(dn);
    // All or nothing: the entry stays as it is until every change has succeeded.
    Entry entry = node->entry;
    for (const RequestedChange &change : request.changes)
        apply(entry, change);
    requireConsistent(entry);
    requireRdnKept(*node, entry);
    context.directory.stampModified(entry, context.identity);
    context.directory.tree.replace(*node, std::move(entry));
    return {};
}

} // namespace stratasim
