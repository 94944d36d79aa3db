#include "filter.h"

#include "result.h"
#include "schema.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

constexpr std::uint8_t kInitial = 0x80;
constexpr std::uint8_t kFinal = 0x82;

/** An assertion for `key` compared with a value that is already in matching form. */
int compareOrdered(std::string_view a, std::string_view b) {
    const auto x = parseInteger(a);
    const auto y = parseInteger(b);
    if (x && y)
        return *x < *y ? -1 : static_cast<int>(*x > *y);
    return a.compare(b);
}

/** Calls `test` with the key and each value of `wanted` in the entry until it gives true. */
template <typename Test>
bool anyValue(const Node &node, std::string_view wanted, const Test &test) {
    for (const Attribute &attribute : node.entry.attributes()) {
        if (!schema::isSubtype(attribute.key, wanted))
            continue;
        for (const std::string &value : attribute.values)
            if (test(attribute.key, value))
                return true;
    }
    const auto computed = computedValues(node, wanted);
    return std::any_of(computed.begin(), computed.end(),
                       [&](const std::string &value) { return test(wanted, value); });
}

bool isExact(std::string_view rule) {
    return rule == "2.5.13.5" || rule == "caseexactmatch";
}

bool isIgnoringCase(std::string_view rule) {
    return rule == "2.5.13.2" || rule == "caseignorematch";
}

void countPart(std::size_t &parts) {
    if (++parts > Filter::kMaxParts)
        throw OperationError(ResultCode::AdminLimitExceeded,
                             fmt::format("the filter has more than {} parts", Filter::kMaxParts));
}

/** The part of a substring that matches like the values of the attribute do. */
std::string normalisePiece(std::string_view key, std::string_view text) {
    switch (schema::ruleOf(key)) {
    case schema::Rule::Exact:
        return std::string(text);
    case schema::Rule::Telephone:
        return normaliseValue(key, text);
    default:
        return lowerCase(text);
    }
}

} // namespace

Filter Filter::decode(ber::Reader &reader) {
    std::size_t parts = 0;
    Filter filter = decode(reader, 1, parts);
    filter.parts_ = parts;
    return filter;
}

Filter Filter::decode(ber::Reader &reader, int depth, std::size_t &parts) {
    countPart(parts);
    if (depth > kMaxDepth)
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("the filter is nested more than {} deep", kMaxDepth));
    const ber::Element element = reader.next("filter");
    Filter filter;
    filter.kind_ = static_cast<Kind>(element.tag);
    switch (filter.kind_) {
    case Kind::And:
    case Kind::Or:
    case Kind::Not: {
        ber::Reader inner(element.value);
        while (!inner.atEnd())
            filter.children_.push_back(decode(inner, depth + 1, parts));
        if (filter.kind_ == Kind::Not && filter.children_.size() != 1)
            throw ber::Error("filter: \"not\" takes one filter");
        return filter;
    }
    case Kind::Present:
        filter.key_ = schema::keyOf(asText(element.value));
        return filter;
    case Kind::Substrings:
        filter.decodeSubstrings(element.value, parts);
        return filter;
    case Kind::Extensible:
        filter.decodeExtensible(element.value);
        return filter;
    case Kind::Equality:
    case Kind::GreaterOrEqual:
    case Kind::LessOrEqual:
    case Kind::Approximate:
        filter.decodeAssertion(element.value);
        return filter;
    }
    throw ber::Error(fmt::format("filter: unknown choice {:#04x}", element.tag));
}

void Filter::decodeAssertion(Bytes content) {
    ber::Reader fields(content);
    key_ = schema::keyOf(fields.text("attribute of the filter"));
    value_ = normaliseValue(key_, fields.text("value of the filter"));
}

void Filter::decodeSubstrings(Bytes content, std::size_t &parts) {
    ber::Reader fields(content);
    key_ = schema::keyOf(fields.text("attribute of the filter"));
    ber::Reader list = fields.sequence("substrings");
    while (!list.atEnd()) {
        countPart(parts);
        const ber::Element piece = list.next("substring");
        const bool initialLater = piece.tag == kInitial && !pieces_.empty();
        const bool afterFinal = !pieces_.empty() && pieces_.back().tag == kFinal;
        if (piece.tag < kInitial || piece.tag > kFinal || initialLater || afterFinal)
            throw ber::Error("substrings: pieces out of order");
        pieces_.push_back({piece.tag, normalisePiece(key_, asText(piece.value))});
    }
    if (pieces_.empty())
        throw ber::Error("substrings: no piece");
}

void Filter::decodeExtensible(Bytes content) {
    constexpr std::uint8_t ruleTag = 0x81, typeTag = 0x82, valueTag = 0x83, dnTag = 0x84;
    ber::Reader fields(content);
    if (const auto rule = fields.takeIf(ruleTag, "matching rule"))
        rule_ = lowerCase(asText(*rule));
    if (const auto type = fields.takeIf(typeTag, "attribute of the filter")) {
        namesAttribute_ = true;
        key_ = schema::keyOf(asText(*type));
    }
    const std::string_view value = asText(fields.take(valueTag, "value of the filter"));
    if (fields.peekTag() == dnTag)
        dnAttributes_ = fields.boolean(dnTag, "dnAttributes");
    if (!namesAttribute_ && rule_.empty())
        throw ber::Error("extensible filter: neither attribute nor matching rule");
    // Once, not for each value that it is compared with: it may be as large as a message.
    value_ = matchingForm(key_, value);
}

Filter::Match Filter::evaluate(const Node &node) const {
    switch (kind_) {
    case Kind::And:
    case Kind::Or:
        return evaluateAll(node);
    case Kind::Not: {
        const Match match = children_[0].evaluate(node);
        if (match == Match::Undefined)
            return match;
        return match == Match::True ? Match::False : Match::True;
    }
    case Kind::Extensible:
        return evaluateExtensible(node);
    default:
        return evaluateItem(node);
    }
}

Filter::Match Filter::evaluateAll(const Node &node) const {
    const Match decisive = kind_ == Kind::And ? Match::False : Match::True;
    const Match otherwise = kind_ == Kind::And ? Match::True : Match::False;
    Match result = otherwise;
    for (const Filter &child : children_) {
        const Match match = child.evaluate(node);
        if (match == decisive)
            return decisive;
        if (match == Match::Undefined)
            result = Match::Undefined;
    }
    return result;
}

Filter::Match Filter::evaluateItem(const Node &node) const {
    // A filter on the password would tell it character by character.
    if (key_.empty() || schema::isSubtype(key_, schema::kPassword))
        return Match::Undefined;
    const bool found = anyValue(node, key_, [this](std::string_view key, std::string_view value) {
        return matchesValue(key, value);
    });
    return found ? Match::True : Match::False;
}

bool Filter::matchesValue(std::string_view key, std::string_view value) const {
    switch (kind_) {
    case Kind::Present:
        return true;
    case Kind::Substrings:
        return matchesPieces(normaliseValue(key, value));
    case Kind::GreaterOrEqual:
        return compareOrdered(normaliseValue(key, value), value_) >= 0;
    case Kind::LessOrEqual:
        return compareOrdered(normaliseValue(key, value), value_) <= 0;
    default:
        return normaliseValue(key, value) == value_;
    }
}

bool Filter::matchesPieces(std::string_view value) const {
    for (const Piece &piece : pieces_) {
        if (piece.tag == kInitial) {
            if (!value.starts_with(piece.text))
                return false;
            value.remove_prefix(piece.text.size());
        } else if (piece.tag == kFinal) {
            return value.ends_with(piece.text);
        } else {
            const std::size_t at = value.find(piece.text);
            if (at == std::string_view::npos)
                return false;
            value.remove_prefix(at + piece.text.size());
        }
    }
    return true;
}

/** A value as the filter's rule compares it, which is that of the attribute when none is named. */
std::string Filter::matchingForm(std::string_view key, std::string_view value) const {
    if (isExact(rule_))
        return std::string(value);
    return isIgnoringCase(rule_) ? foldText(value) : normaliseValue(key, value);
}

Filter::Match Filter::evaluateExtensible(const Node &node) const {
    const bool known = (rule_.empty() || isExact(rule_) || isIgnoringCase(rule_)) &&
                       !(namesAttribute_ && key_.empty());
    if (!known || schema::isSubtype(key_, schema::kPassword))
        return Match::Undefined;
    const auto equal = [&](std::string_view key, std::string_view value) {
        return matchingForm(key, value) == value_;
    };
    const auto inEntry = [&](std::string_view key) { return anyValue(node, key, equal); };
    bool found = false;
    if (!key_.empty())
        found = inEntry(key_);
    else
        for (const Attribute &attribute : node.entry.attributes())
            found = found || (attribute.key != schema::kPassword && inEntry(attribute.key));
    for (const Node *up = &node; dnAttributes_ && !found && up != nullptr; up = up->parent)
        for (const Ava &ava : up->rdn)
            found = found || ((key_.empty() || schema::keyOf(ava.type) == key_) &&
                              equal(schema::keyOf(ava.type), ava.value));
    return found ? Match::True : Match::False;
}

} // namespace stratasim
