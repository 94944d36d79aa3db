#include "faults.h"

#include "extended/registry.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

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

bool setValue(Fault &fault, std::string_view text) {
    return (fault.value = decodeHex(text)).has_value();
}

bool setOid(Fault &fault, std::string_view text) {
    fault.oid = text;
    return true;
}

template <bool Fault::*Member>
bool setFlag(Fault &fault, std::string_view /*text*/) {
    return fault.*Member = true;
}

template <Fault::Handshake What>
bool setHandshake(Fault &fault, std::string_view /*text*/) {
    fault.handshake = What;
    return true;
}

// What a kind of fault is for.
constexpr unsigned kOperation = 1, kLburpOperation = 2, kStep = 4, kConnection = 8;

struct Kind {
    std::string_view name;
    std::string_view value; // what it takes, for people; empty: nothing
    unsigned fits;
    bool (*set)(Fault &, std::string_view);
};

constexpr Kind kKinds[] = {
    {"no-oid", "", kOperation, setFlag<&Fault::noOid>},
    {"oid", "OID", kOperation, setOid},
    {"no-value", "", kOperation | kStep, setFlag<&Fault::noValue>},
    {"truncate", "BYTES", kOperation | kStep, setTruncate},
    {"value", "HEX", kOperation | kStep, setValue},
    {"code", "NUMBER[:TEXT]", kOperation | kStep, setCode},
    {"delay", "MS", kOperation | kStep | kConnection, setDelay},
    {"drop", "", kOperation | kStep, setFlag<&Fault::drop>},
    {"cut", "", kOperation | kStep, setFlag<&Fault::cut>},
    {"partway", "OPERATIONS", kLburpOperation, setPartway},
    {"silent", "", kConnection, setHandshake<Fault::Handshake::Silent>},
    {"closed", "", kConnection, setHandshake<Fault::Handshake::Closed>},
    {"garbage", "", kConnection, setHandshake<Fault::Handshake::Garbage>},
};

/** What answers are spoilt of. */
struct Target {
    std::string key; // in Faults
    unsigned is;     // what kinds have to fit
};

std::optional<Target> findTarget(std::string_view name) {
    for (const std::string_view step : {digest::kChallengeStep, digest::kProofStep})
        if (name == step)
            return Target{std::string(step), kStep};
    if (name == kHandshake)
        return Target{std::string(name), kConnection};
    const ExtendedOperation *operation = findExtendedOperation(name);
    if (operation == nullptr)
        return std::nullopt;
    const bool lburp = operation->name == "lburp-operation";
    return Target{operation->oid, lburp ? kOperation | kLburpOperation : kOperation};
}

std::string write(std::string_view kind, std::string_view value) {
    return value.empty() ? std::string(kind) : fmt::format("{}:{}", kind, value);
}

/** All kinds for a target, for people. */
std::string kindsOf(const Target &target) {
    std::vector<std::string> kinds;
    for (const Kind &kind : kKinds)
        if ((kind.fits & target.is) != 0)
            kinds.push_back(write(kind.name, kind.value));
    for (const digest::Distortion &kind : digest::distortions())
        if (kind.step == target.key)
            kinds.push_back(write(kind.kind, kind.value));
    return fmt::format("{}", fmt::join(kinds, ", "));
}

std::function<bool(Fault &)> applyDistortion(const digest::Distortion &kind,
                                             const std::string &value) {
    return [&kind, value](Fault &fault) {
        fault.distortions.emplace_back(
            [&kind, value](digest::Answer &answer) { kind.change(answer, kind.directive, value); });
        return kind.most == 0 || numberUpTo(value, kind.most);
    };
}

/** Puts a kind of fault, as it is written, into a Fault; empty when the target has none such. */
std::function<bool(Fault &)> applyKind(const Target &target, std::string_view text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view name = text.substr(0, colon);
    const bool hasValue = colon < text.size();
    const std::string value(hasValue ? text.substr(colon + 1) : std::string_view());
    for (const Kind &kind : kKinds)
        if (kind.name == name && kind.value.empty() != hasValue && (kind.fits & target.is) != 0)
            return [&kind, value](Fault &fault) { return kind.set(fault, value); };
    for (const digest::Distortion &kind : digest::distortions())
        if (kind.kind == name && kind.value.empty() != hasValue && kind.step == target.key)
            return applyDistortion(kind, value);
    return nullptr;
}

} // namespace

void Fault::distort(ExtendedReply &reply) const {
    if (noOid)
        reply.oid.reset();
    if (oid)
        reply.oid = oid;
    distort(reply.value);
}

void Fault::distort(std::optional<std::string> &replyValue) const {
    if (value)
        replyValue = value;
    if (truncate && replyValue)
        replyValue->resize(std::min(*truncate, replyValue->size()));
    if (noValue)
        replyValue.reset();
}

void Fault::distort(digest::Answer &answer) const {
    for (const auto &change : distortions)
        change(answer);
}

void requireNoCode(const Fault *fault) {
    if (fault != nullptr && fault->code)
        throw OperationError(static_cast<ResultCode>(*fault->code), fault->diagnostic);
}

std::optional<Fault> Faults::find(std::string_view answered, std::uint64_t number) const {
    const auto rules = byAnswered_.find(answered);
    std::optional<Fault> fault;
    if (rules == byAnswered_.end())
        return fault;
    for (const Rule &rule : rules->second) {
        if (number < rule.first || number > rule.last)
            continue;
        if (!fault)
            fault.emplace();
        rule.apply(*fault);
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
    const auto target = findTarget(name);
    if (!target)
        return fmt::format("there is no operation \"{}\": see --list-operations; there are also "
                           "{}, {} and {}",
                           name, digest::kChallengeStep, digest::kProofStep, kHandshake);
    const std::string_view kind = text.substr(equals + 1);
    rule.apply = applyKind(*target, kind);
    if (Fault scratch; !rule.apply || !rule.apply(scratch))
        return fmt::format("\"{}\" is no kind of fault: there are {} for {}", kind,
                           kindsOf(*target), name);
    byAnswered_[target->key].push_back(std::move(rule));
    return {};
}

} // namespace stratasim
