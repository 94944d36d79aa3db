#include "filter_text.h"

#include "result.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

std::uint8_t tagOf(Filter::Kind kind) {
    return static_cast<std::uint8_t>(kind);
}

/** Turns the string form into the one of the protocol. */
class Translator {
  public:
    explicit Translator(std::string_view text) : text_(text) {}

    std::string translate() {
        if (peek() == '(')
            filter(1);
        else
            item();
        if (at_ < text_.size())
            fail("something follows the filter");
        return std::move(out_);
    }

  private:
    [[noreturn]] void fail(const char *why) const {
        constexpr std::size_t shown = 200;
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("the filter \"{}\" is wrong at byte {}: {}",
                                         text_.substr(0, shown), at_ + 1, why));
    }

    char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool skip(std::string_view expected) {
        const bool there = text_.substr(at_).starts_with(expected);
        at_ += there ? expected.size() : 0;
        return there;
    }
    void expect(std::string_view expected, const char *why) {
        if (!skip(expected))
            fail(why);
    }

    void filter(int depth) {
        if (depth > Filter::kMaxDepth)
            fail("the filter is nested too deep");
        expect("(", "a \"(\" is missing");
        if (skip("&"))
            list(Filter::Kind::And, depth);
        else if (skip("|"))
            list(Filter::Kind::Or, depth);
        else if (skip("!"))
            negation(depth);
        else
            item();
        expect(")", "a \")\" is missing");
    }

    void list(Filter::Kind kind, int depth) {
        const std::size_t mark = writer_.open(tagOf(kind));
        while (peek() == '(')
            filter(depth + 1);
        writer_.close(mark);
    }

    void negation(int depth) {
        const std::size_t mark = writer_.open(tagOf(Filter::Kind::Not));
        filter(depth + 1);
        writer_.close(mark);
    }

    void item() {
        const std::string_view attribute = word();
        if (peek() == ':')
            return extensible(attribute);
        if (attribute.empty())
            fail("an attribute is missing");
        if (skip(">="))
            return assertion(Filter::Kind::GreaterOrEqual, attribute);
        if (skip("<="))
            return assertion(Filter::Kind::LessOrEqual, attribute);
        if (skip("~="))
            return assertion(Filter::Kind::Approximate, attribute);
        expect("=", "one of = >= <= ~= := is missing");
        equality(attribute);
    }

    /** An attribute description or a matching rule, empty when there is none. */
    std::string_view word() {
        const std::size_t end = std::min(text_.find_first_of("()=<>~:*\\ ", at_), text_.size());
        const std::string_view found = text_.substr(at_, end - at_);
        at_ = end;
        return found;
    }

    /** A value up to an asterisk or the end of the item. */
    std::string value() {
        std::string bytes;
        for (char next = peek(); at_ < text_.size() && next != ')' && next != '*'; next = peek()) {
            if (next == '(')
                fail("in a value \"(\" is written \\28");
            if (next != '\\') {
                bytes += next;
                ++at_;
                continue;
            }
            const auto escaped = decodeHex(text_.substr(at_ + 1, 2));
            if (!escaped || escaped->size() != 1)
                fail("two hexadecimal digits have to follow the backslash");
            bytes += *escaped;
            at_ += 3;
        }
        return bytes;
    }

    /** The last value of an item, in which an asterisk has no place. */
    std::string wholeValue() {
        std::string bytes = value();
        if (peek() == '*')
            fail("in this value \"*\" is written \\2a");
        return bytes;
    }

    void assertion(Filter::Kind kind, std::string_view attribute) {
        assertion(kind, attribute, wholeValue());
    }

    void assertion(Filter::Kind kind, std::string_view attribute, const std::string &text) {
        const std::size_t mark = writer_.open(tagOf(kind));
        writer_.octets(attribute);
        writer_.octets(text);
        writer_.close(mark);
    }

    void equality(std::string_view attribute) {
        const std::string first = value();
        if (peek() != '*')
            return assertion(Filter::Kind::Equality, attribute, first);
        ++at_;
        if (first.empty() && (peek() == ')' || at_ == text_.size()))
            return writer_.octets(attribute, tagOf(Filter::Kind::Present));
        substrings(attribute, first);
    }

    void substrings(std::string_view attribute, const std::string &first) {
        constexpr std::uint8_t initial = 0x80, any = 0x81, last = 0x82;
        const std::size_t mark = writer_.open(tagOf(Filter::Kind::Substrings));
        writer_.octets(attribute);
        const std::size_t pieces = writer_.open(ber::kSequence);
        if (!first.empty())
            writer_.octets(first, initial);
        for (bool more = true; more;) {
            const std::string piece = value();
            if (piece.empty() && peek() == '*')
                fail("two asterisks follow each other");
            more = skip("*");
            if (!piece.empty())
                writer_.octets(piece, more ? any : last);
        }
        writer_.close(pieces);
        writer_.close(mark);
    }

    // attribute [":dn"] [":" rule] ":=" value
    void extensible(std::string_view attribute) {
        constexpr std::uint8_t ruleTag = 0x81, typeTag = 0x82, valueTag = 0x83, dnTag = 0x84;
        const bool dn = skip(":dn:");
        at_ -= dn ? 1 : 0;
        std::string_view rule;
        if (!skip(":=")) {
            expect(":", "\":=\" is missing");
            rule = word();
            expect(":=", "\":=\" is missing");
        }
        if (attribute.empty() && rule.empty())
            fail("neither an attribute nor a matching rule is there");
        const std::size_t mark = writer_.open(tagOf(Filter::Kind::Extensible));
        if (!rule.empty())
            writer_.octets(rule, ruleTag);
        if (!attribute.empty())
            writer_.octets(attribute, typeTag);
        writer_.octets(wholeValue(), valueTag);
        if (dn)
            writer_.octets("\xff", dnTag);
        writer_.close(mark);
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string out_;
    ber::Writer writer_{out_};
};

} // namespace

Filter parseFilter(std::string_view text) {
    const std::string encoded = Translator(text).translate();
    ber::Reader reader(asBytes(encoded));
    return Filter::decode(reader);
}

} // namespace stratasim
