#include "faults.h"

#include "extended/registry.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

constexpr const char *kKinds =
    "no-oid, oid:OID, no-value, truncate:BYTES, value:HEX, code:NUMBER[:TEXT], delay:MS, drop, and "
    "for lburp-operation partway:OPERATIONS";

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

bool setPartway(Fault &fault, std::string_view text) {
    const auto operations = numberUpTo(text, 0x7fffffff);
    if (operations)
        fault.partway = static_cast<std::size_t>(*operations);
    fault.drop = true;
    return operations.has_value();
}

/** Sets the member that `kind` names; false when kind and value are no fault. */
bool apply(Fault &fault, std::string_view kind, const std::optional<std::string> &value) {
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
    if (kind == "partway")
        return setPartway(fault, *value);
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

std::optional<Fault> Faults::find(std::string_view oid, std::uint64_t number) const {
    const auto rules = byOid_.find(oid);
    std::optional<Fault> fault;
    if (rules == byOid_.end())
        return fault;
    for (const Rule &rule : rules->second) {
        if (number < rule.first || number > rule.last)
            continue;
        if (!fault)
            fault.emplace();
        apply(*fault, rule.kind, rule.value);
    }
    return fault;
}

/** Reads "N" or "N+". */
bool Faults::readNumbers(Rule &rule, std::string_view text) {
    const bool andLater = text.ends_with('+');
    if (andLater)
        text.remove_suffix(1);
    const auto number = numberUpTo(text, std::numeric_limits<std::int64_t>::max());
    if (!number || *number == 0)
        return false;
    rule.first = static_cast<std::uint64_t>(*number);
    if (!andLater)
        rule.last = rule.first;
    return true;
}

std::string Faults::add(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return fmt::format("\"{}\" is no fault: write OPERATION[@N]=KIND[:VALUE]", text);
    Rule rule;
    std::string_view name = text.substr(0, equals);
    if (const std::size_t at = name.find('@'); at != std::string_view::npos) {
        if (!readNumbers(rule, name.substr(at + 1)))
            return fmt::format("\"{}\" is no number of an answer: write @3 for the third one, @3+ "
                               "for all from the third one on",
                               name.substr(at));
        name = name.substr(0, at);
    }
    const ExtendedOperation *operation = findExtendedOperation(name);
    if (operation == nullptr)
        return fmt::format("there is no operation \"{}\": see --list-operations", name);
    rule.kind = text.substr(equals + 1);
    if (const std::size_t colon = rule.kind.find(':'); colon != std::string::npos) {
        rule.value = rule.kind.substr(colon + 1);
        rule.kind.resize(colon);
    }
    Fault fault;
    if (!apply(fault, rule.kind, rule.value) ||
        (fault.partway && operation->name != "lburp-operation"))
        return fmt::format("\"{}\" is no kind of fault: there are {}", text.substr(equals + 1),
                           kKinds);
    byOid_[operation->oid].push_back(std::move(rule));
    return {};
}

} // namespace stratasim
