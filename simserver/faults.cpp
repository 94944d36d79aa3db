#include "faults.h"

#include "extended/registry.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

constexpr const char *kKinds =
    "no-oid, oid:OID, no-value, truncate:BYTES, value:HEX, code:NUMBER[:TEXT], delay:MS, drop";

std::optional<std::int64_t> numberUpTo(std::string_view text, std::int64_t most) {
    const auto number = parseInteger(text);
    return number && *number >= 0 && *number <= most ? number : std::nullopt;
}

bool setTruncate(Fault &fault, std::string_view text) {
    const auto bytes = numberUpTo(text, 0x7fffffff);
    if (bytes)
        fault.truncate = static_cast<std::size_t>(*bytes);
    return bytes.has_value();
}

bool setCode(Fault &fault, std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const auto code = numberUpTo(text.substr(0, colon), 0x7fffffff);
    if (!code)
        return false;
    fault.code = static_cast<int>(*code);
    fault.diagnostic = text.substr(std::min(colon + 1, text.size()));
    return true;
}

bool setDelay(Fault &fault, std::string_view text) {
    constexpr std::int64_t anHour = 3600 * 1000;
    const auto milliseconds = numberUpTo(text, anHour);
    if (milliseconds)
        fault.delay = std::chrono::milliseconds(*milliseconds);
    return milliseconds.has_value();
}

/** Sets the member that `kind` names; false when kind and value are no fault. */
bool apply(Fault &fault, std::string_view kind, const std::optional<std::string_view> &value) {
    if (!value) {
        fault.noOid = fault.noOid || kind == "no-oid";
        fault.noValue = fault.noValue || kind == "no-value";
        fault.drop = fault.drop || kind == "drop";
        return kind == "no-oid" || kind == "no-value" || kind == "drop";
    }
    if (kind == "truncate")
        return setTruncate(fault, *value);
    if (kind == "code")
        return setCode(fault, *value);
    if (kind == "delay")
        return setDelay(fault, *value);
    if (kind == "value")
        return (fault.value = decodeHex(*value)).has_value();
    if (kind == "oid")
        fault.oid = *value;
    return kind == "oid";
}

} // namespace

void Fault::distort(ExtendedReply &reply) const {
    if (noOid)
        reply.oid.reset();
    if (oid)
        reply.oid = oid;
    if (value)
        reply.value = value;
    if (truncate && reply.value)
        reply.value->resize(std::min(*truncate, reply.value->size()));
    if (noValue)
        reply.value.reset();
}

const Fault *Faults::find(std::string_view oid) const {
    const auto found = byOid.find(oid);
    return found == byOid.end() ? nullptr : &found->second;
}

std::string Faults::add(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return fmt::format("\"{}\" is no fault: write OPERATION=KIND[:VALUE]", text);
    const std::string_view name = text.substr(0, equals);
    const ExtendedOperation *operation = findExtendedOperation(name);
    if (operation == nullptr)
        return fmt::format("there is no operation \"{}\": see --list-operations", name);
    std::string_view kind = text.substr(equals + 1);
    std::optional<std::string_view> value;
    if (const std::size_t colon = kind.find(':'); colon != std::string_view::npos) {
        value = kind.substr(colon + 1);
        kind = kind.substr(0, colon);
    }
    if (!apply(byOid[operation->oid], kind, value))
        return fmt::format("\"{}\" is no kind of fault: there are {}", text.substr(equals + 1),
                           kKinds);
    return {};
}

} // namespace stratasim
