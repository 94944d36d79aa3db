#include "sasl/directives.h"

#include "result.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool isBlank(char c) {
    return kBlanks.find(c) != std::string_view::npos;
}

/** What a name consists of. */
bool isTokenCharacter(char c) {
    constexpr std::string_view separators = "()<>@,;:\\\"/[]?={} ";
    return static_cast<unsigned char>(c) < 0x80 && !isControl(c) &&
           separators.find(c) == std::string_view::npos;
}

/** What a value without quotes consists of: more than a token, as other servers take it, too. */
bool isBareCharacter(char c) {
    constexpr std::string_view ends = ",\"\\ ";
    return !isControl(c) && ends.find(c) == std::string_view::npos;
}

class Parser {
  public:
    explicit Parser(std::string_view text) : text_(text) {}

    // 1#( name "=" value ): elements of the list may be empty, and blanks are around everything.
    std::vector<Directive> readAll() {
        std::vector<Directive> directives;
        for (skip(","); !atEnd(); skip(",")) {
            directives.push_back(readOne());
            skip("");
            if (!atEnd() && peek() != ',')
                refuse("a comma is missing");
        }
        if (directives.empty())
            refuse("there is no directive");
        return directives;
    }

  private:
    bool atEnd() const { return at_ == text_.size(); }
    char peek() const { return atEnd() ? '\0' : text_[at_]; }

    [[noreturn]] void refuse(std::string_view why) const {
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("DIGEST-MD5, byte {}: {}", at_ + 1, why));
    }

    void skip(std::string_view besidesBlanks) {
        while (!atEnd() &&
               (isBlank(peek()) || besidesBlanks.find(peek()) != std::string_view::npos))
            ++at_;
    }

    std::string_view take(bool (*belongs)(char)) {
        const std::size_t first = at_;
        while (!atEnd() && belongs(peek()))
            ++at_;
        return text_.substr(first, at_ - first);
    }

    Directive readOne() {
        Directive directive{lowerCase(take(isTokenCharacter)), {}, false};
        if (directive.name.empty())
            refuse("the name of a directive is missing");
        skip("");
        if (peek() != '=')
            refuse(fmt::format("\"{}\" has no value", directive.name));
        ++at_;
        skip("");
        directive.quoted = peek() == '"';
        directive.value = directive.quoted ? readQuoted() : std::string(take(isBareCharacter));
        return directive;
    }

    std::string readQuoted() {
        std::string value;
        for (++at_; peek() != '"'; ++at_) {
            if (peek() == '\\')
                ++at_;
            if (atEnd())
                refuse("a quote is not closed");
            if (isControl(peek()) && !isBlank(peek()))
                refuse("a control character");
            value += peek();
        }
        ++at_;
        return value;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

std::string quote(std::string_view value) {
    std::string out = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out += '"';
}

} // namespace

std::string writeDirectives(const std::vector<Directive> &directives) {
    std::string out;
    for (const Directive &directive : directives) {
        if (!out.empty())
            out += ',';
        out += directive.name + '=' + (directive.quoted ? quote(directive.value) : directive.value);
    }
    return out;
}

std::vector<Directive> readDirectives(std::string_view text) {
    return Parser(text).readAll();
}

} // namespace stratasim
