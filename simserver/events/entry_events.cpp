#include "events/entry_events.h"

#include "connection.h"
#include "directory.h"
#include "schema.h"

#include <unordered_set>

namespace stratasim {
namespace {

constexpr std::string_view kMember = "member";

EventType typeOf(Change::Kind kind) {
    switch (kind) {
    case Change::Kind::Add:
        return EventType::EntryAdded;
    case Change::Kind::Delete:
        return EventType::EntryDeleted;
    case Change::Kind::Modify:
        return EventType::EntryModified;
    case Change::Kind::Rename:
        break;
    }
    return EventType::EntryRenamed;
}

std::string lastObjectClass(const Entry &entry) {
    const Attribute *classes = entry.find("objectclass");
    return classes != nullptr && !classes->values.empty() ? classes->values.back() : std::string();
}

/** The fields that the events of an entry and of its values have in common. */
Record::Values commonFields(const Directory &directory, const Change &change) {
    const Origin *origin = directory.origin;
    Record::Values fields = {{"string1", change.node.dn},
                             {"number1", static_cast<std::int32_t>(directory.now())}};
    if (origin == nullptr)
        return fields;
    fields.emplace_back("string3", origin->who.dn);
    fields.emplace_back("number2", static_cast<std::int32_t>(origin->connection.number));
    fields.emplace_back("number3", origin->id);
    return fields;
}

std::int32_t changeNumber(const Directory &directory) {
    return static_cast<std::int32_t>(directory.changes.lastNumber());
}

Event entryEvent(const Directory &directory, const Change &change, std::int32_t type) {
    Record::Values fields = commonFields(directory, change);
    fields.emplace_back("string2", lastObjectClass(change.node.entry));
    fields.emplace_back("number4", changeNumber(directory));
    fields.emplace_back("number5", static_cast<std::int32_t>(directory.tree.size()));
    fields.emplace_back("value", change.previousDn);
    return {type, 0, Record(97, std::move(fields))};
}

/** Calls `visit` with each value that `entry` has and `other` has not; null has none. */
template <typename Visit>
void eachOwnValue(const Entry &entry, const Entry *other, const Visit &visit) {
    for (const Attribute &attribute : entry.attributes()) {
        if (schema::isReadOnly(attribute.key))
            continue; // the server's own bookkeeping
        std::unordered_set<std::string_view> shared;
        if (const Attribute *there = other != nullptr ? other->find(attribute.key) : nullptr)
            shared.insert(there->values.begin(), there->values.end());
        for (const std::string &value : attribute.values)
            if (!shared.contains(value))
                visit(attribute, value);
    }
}

/** Values that come, or go, when the entry `entry` takes the place of `other` or the reverse. */
struct ValueChange {
    const Entry &entry;
    const Entry *other;
    EventType type;
    std::int32_t membership; // 1 begins, 0 ends
};

void raiseValues(Directory &directory, const Change &change, const ValueChange &values) {
    if (!directory.events.wants(values.type))
        return;
    eachOwnValue(values.entry, values.other, [&](const Attribute &attribute, const auto &value) {
        directory.events.raise(values.type, [&](std::int32_t type) {
            Record::Values fields = commonFields(directory, change);
            fields.emplace_back("string2", attribute.name);
            fields.emplace_back("string4", lastObjectClass(change.node.entry));
            fields.emplace_back("number0", changeNumber(directory));
            // The password never leaves the server.
            if (!schema::isSubtype(attribute.key, schema::kPassword))
                fields.emplace_back("value", value);
            return Event(type, 0, Record(98, std::move(fields)));
        });
    });
}

void raiseMembers(Directory &directory, const Change &change, const ValueChange &values) {
    if (!directory.events.wants(EventType::MemberChanged))
        return;
    eachOwnValue(values.entry, values.other, [&](const Attribute &attribute, const auto &value) {
        if (attribute.key != kMember)
            return;
        directory.events.raise(EventType::MemberChanged, [&](std::int32_t type) {
            const std::vector<Referral> where = {{1, directory.uri}};
            return Event(type, 0,
                         Record(102, {{"string1", change.node.dn},
                                      {"number1", values.membership},
                                      {"string2", value},
                                      {"referrals", where}}));
        });
    });
}

} // namespace

void raiseEntryEvents(Directory &directory, const Change &change) {
    if (!directory.events.isMonitored())
        return;
    directory.events.raise(typeOf(change.kind),
                           [&](std::int32_t type) { return entryEvent(directory, change, type); });
    const Entry &entry = change.node.entry;
    if (change.previous != nullptr) {
        const ValueChange gone{*change.previous, &entry, EventType::ValueRemoved, 0};
        const ValueChange come{entry, change.previous, EventType::ValueAdded, 1};
        raiseValues(directory, change, gone);
        raiseValues(directory, change, come);
        raiseMembers(directory, change, gone);
        raiseMembers(directory, change, come);
    } else {
        const bool added = change.kind == Change::Kind::Add;
        raiseMembers(directory, change, {entry, nullptr, EventType::ValueAdded, added ? 1 : 0});
    }
}

} // namespace stratasim
