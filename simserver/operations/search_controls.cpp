#include "operations/search_controls.h"

#include "operations/controls.h"
#include "schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <unordered_set>

namespace stratasim {
namespace {

Bytes requireValue(const std::optional<Bytes> &value) {
    if (!value)
        throw ber::Error("the value is missing");
    return *value;
}

/** The only SEQUENCE of a value. */
ber::Reader readSequence(const std::optional<Bytes> &value) {
    ber::Reader whole(requireValue(value));
    const ber::Reader fields = whole.sequence("value");
    whole.expectEnd("value");
    return fields;
}

// SEQUENCE { changeTypes INTEGER, changesOnly BOOLEAN, returnECs BOOLEAN }
void readPersistent(const std::optional<Bytes> &value, SearchControls &controls) {
    constexpr std::int64_t allTypes = 15;
    ber::Reader fields = readSequence(value);
    PersistentControl persistent;
    persistent.changeTypes = fields.integer(ber::kInteger, "changeTypes");
    persistent.changesOnly = fields.boolean(ber::kBoolean, "changesOnly");
    persistent.returnEntryChange = fields.boolean(ber::kBoolean, "returnECs");
    fields.expectEnd("value");
    if (persistent.changeTypes < 1 || persistent.changeTypes > allTypes)
        throw ber::Error(
            fmt::format("changeTypes {} is no sum of 1, 2, 4 and 8", persistent.changeTypes));
    controls.persistent = persistent;
}

// 0x81, although what it holds is constructed: elements 0x80 an attribute, 0x81 an object class.
std::vector<std::string> readNames(ber::Reader list) {
    constexpr std::uint8_t attribute = 0x80, objectClass = 0x81;
    constexpr int most = 1000; // each of them is looked up for each entry
    std::vector<std::string> names;
    std::unordered_set<std::string> keys;
    const auto add = [&](std::string_view name) {
        if (keys.insert(schema::keyOf(name)).second)
            names.emplace_back(name);
    };
    for (int count = 0; !list.atEnd(); ++count) {
        if (count == most)
            throw ber::Error(fmt::format("more than {} names", most));
        if (const auto ofClass = list.takeIf(objectClass, "name"))
            for (const std::string &name : schema::attributesOfClass(asText(*ofClass)))
                add(name);
        else
            add(asText(list.take(attribute, "name")));
    }
    return names;
}

// SEQUENCE { CHOICE { mode [0] INTEGER, names [1] elements } }
void readRights(const std::optional<Bytes> &value, SearchControls &controls) {
    constexpr std::uint8_t modeTag = 0x80, namesTag = 0x81;
    ber::Reader fields = readSequence(value);
    RightsControl rights;
    if (const auto names = fields.takeIf(namesTag, "names")) {
        rights.attributes = RightsControl::Attributes::Listed;
        rights.listed = readNames(ber::Reader(*names));
    } else {
        const std::int64_t mode = fields.integer(modeTag, "mode");
        if (mode != 0 && mode != 1)
            throw ber::Error(fmt::format("mode {} is neither 0 nor 1", mode));
        if (mode == 1)
            rights.attributes = RightsControl::Attributes::All;
    }
    fields.expectEnd("value");
    controls.rights = std::move(rights);
}

// SEQUENCE { [0] BOOLEAN OPTIONAL, ... [6] BOOLEAN OPTIONAL }: there are answers to the first four.
void readStatus(const std::optional<Bytes> &value, SearchControls &controls) {
    constexpr std::uint8_t firstTag = 0x80, lastTag = 0x86;
    ber::Reader fields = readSequence(value);
    StatusControl status;
    for (std::uint8_t tag = firstTag; tag <= lastTag; ++tag) {
        if (fields.peekTag() != tag)
            continue;
        const bool wanted = fields.boolean(tag, "element");
        if (const std::size_t index = tag - firstTag; index < status.wanted.size())
            status.wanted[index] = wanted;
    }
    fields.expectEnd("value");
    controls.status = status;
}

void readReference(const std::optional<Bytes> &value, SearchControls &controls) {
    if (value)
        throw ber::Error("the control takes no value");
    controls.reference = true;
}

struct SearchControl {
    std::string_view oid;
    void (*read)(const std::optional<Bytes> &, SearchControls &);
};

constexpr SearchControl kControls[] = {
    {control::kPersistentSearch, readPersistent},
    {control::kEffectiveRights, readRights},
    {control::kServerStatus, readStatus},
    {control::kReference, readReference},
};

void read(const Control &control, unsigned &seen, SearchControls &controls) {
    const auto row =
        std::find_if(std::begin(kControls), std::end(kControls),
                     [&](const SearchControl &known) { return known.oid == control.oid; });
    if (row == std::end(kControls))
        return;
    const unsigned bit = 1U << static_cast<unsigned>(row - std::begin(kControls));
    if ((seen & bit) != 0)
        throw ber::Error("the control is there twice");
    seen |= bit;
    row->read(control.value, controls);
}

} // namespace

SearchControls decodeSearchControls(const std::vector<Control> &controls) {
    SearchControls decoded;
    unsigned seen = 0;
    for (const Control &control : controls) {
        try {
            read(control, seen, decoded);
        } catch (const ber::Error &error) {
            // The value is the search's own matter: the connection goes on.
            throw OperationError(ResultCode::ProtocolError,
                                 fmt::format("control {}: {}", control.oid, error.what()));
        }
    }
    return decoded;
}

} // namespace stratasim
