#include "sasl/directives.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace qldapx {
namespace {

enum State : std::int32_t {
    stopped, // beside a code
    beforeFirst,
    afterComma,
    inName,
    afterName,
    beforeValue,
    afterValue,
    inQuotes,
    inToken,
    stateCount
};

enum class Kind : std::uint8_t { other, white, token, quote, equals, comma };
constexpr std::size_t kindCount = 6;

enum class Action : std::uint8_t { none, begin, beginBehind, endName, endValue };

struct Transition {
    State next = stopped;
    Action action = Action::none;
};

struct Row {
    std::array<Transition, kindCount> on; // other, white, token, quote, equals, comma
    int elsewhere;                        // code of a byte that stops
    int atEnd;                            // code of the end of the text
};

constexpr Transition stop;

constexpr Row beginning(int atEnd, State self) {
    return {{{stop, {self}, {inName, Action::begin}, {inName, Action::begin}, stop, stop}},
            QLDAPX_DIGEST_BAD_NAME,
            atEnd};
}

// By state. Inside quotes all bytes but the closing quote are the value's.
constexpr std::array<Row, stateCount> rows = {{
    {},
    beginning(0, beforeFirst),
    beginning(QLDAPX_DIGEST_TRAILING_COMMA, afterComma),
    {{{stop,
       {afterName, Action::endName},
       {inName},
       {inName},
       {beforeValue, Action::endName},
       stop}},
     QLDAPX_DIGEST_BAD_NAME,
     QLDAPX_DIGEST_NO_VALUE},
    {{{stop, {afterName}, stop, stop, {beforeValue}, stop}},
     QLDAPX_DIGEST_NO_EQUALS,
     QLDAPX_DIGEST_NO_VALUE},
    {{{stop, {beforeValue}, {inToken, Action::begin}, {inQuotes, Action::beginBehind}, stop, stop}},
     QLDAPX_DIGEST_BAD_VALUE,
     QLDAPX_DIGEST_NO_VALUE},
    {{{stop, {afterValue}, stop, stop, stop, {afterComma}}}, QLDAPX_DIGEST_NO_COMMA, 0},
    {{{{inQuotes}, {inQuotes}, {inQuotes}, {afterValue, Action::endValue}, {inQuotes}, {inQuotes}}},
     0,
     QLDAPX_DIGEST_OPEN_QUOTE},
    {{{stop,
       {afterValue, Action::endValue},
       {inToken},
       {inToken},
       stop,
       {afterComma, Action::endValue}}},
     QLDAPX_DIGEST_BAD_VALUE_TOKEN,
     0},
}};

constexpr char notInTokens[] = "%(),:;<=>?@[\\]{}";

constexpr bool isTokenByte(unsigned c) {
    const bool isControl = c < 0x20 || c == 0x7f;
    return !isControl && c != ' ' &&
           std::find(std::begin(notInTokens), std::end(notInTokens), static_cast<int>(c)) ==
               std::end(notInTokens);
}

constexpr Kind kindOf(unsigned c) {
    switch (c) {
    case '\t':
    case '\n':
    case '\r':
    case ' ':
        return Kind::white;
    case '"':
        return Kind::quote; // a token's byte like any other, where no value begins with it
    case '=':
        return Kind::equals;
    case ',':
        return Kind::comma;
    default:
        return isTokenByte(c) ? Kind::token : Kind::other;
    }
}

constexpr auto kinds = [] {
    std::array<Kind, 256> table{};
    for (unsigned c = 0; c < table.size(); ++c)
        table[c] = kindOf(c);
    return table;
}();

class Parser {
  public:
    explicit Parser(const char *text) { parser_.text = text; }
    ~Parser() { freeParsedDirectives(parser_.first); }
    Parser(const Parser &) = delete;
    Parser &operator=(const Parser &) = delete;

    // A fault's place is where this ends, but for a failing memory.
    int parse(std::int32_t length, std::int32_t &errorPosition) {
        for (; parser_.position < length; ++parser_.position) {
            const Row &row = rows[static_cast<std::size_t>(parser_.state)];
            const Transition transition = row.on[static_cast<std::size_t>(kind())];
            if (transition.next == stopped) {
                errorPosition = parser_.position;
                return row.elsewhere;
            }
            if (const int result = act(transition.action); result != 0)
                return result;
            parser_.state = transition.next;
        }
        if (parser_.state == inToken)
            return addValue(&parser_, 0);
        return rows[static_cast<std::size_t>(parser_.state)].atEnd;
    }

    ParsedDirective *take() { return std::exchange(parser_.first, nullptr); }

  private:
    [[nodiscard]] char at(std::int32_t position) const { return parser_.text[position]; }

    // A quote behind a backslash, and the backslash itself, are the string's like any byte. One
    // that is itself escaped is no exception: the rule looks at one byte only, and is kept.
    Kind kind() {
        const char c = at(parser_.position);
        if (parser_.state == inQuotes) {
            hasEscapes_ = hasEscapes_ || c == '\\';
            if (c == '"' && at(parser_.position - 1) == '\\')
                return Kind::token;
        }
        return kinds[static_cast<unsigned char>(c)];
    }

    int act(Action action) {
        switch (action) {
        case Action::none:
            return 0;
        case Action::begin:
            parser_.start = parser_.position;
            return 0;
        case Action::beginBehind:
            parser_.start = parser_.position + 1;
            return 0;
        case Action::endName:
            return addDirective(&parser_);
        case Action::endValue:
            return addValue(&parser_, std::exchange(hasEscapes_, false) ? 1 : 0);
        }
        return 0;
    }

    DirectiveParser parser_ = {0, 0, nullptr, beforeFirst, nullptr, nullptr};
    bool hasEscapes_ = false;
};

void unescape(char *to, const char *from, std::int32_t size) {
    for (std::int32_t i = 0; i < size; ++i) {
        if (from[i] == '\\' && ++i == size)
            return;
        *to++ = from[i];
    }
}

} // namespace

HeapPtr copyBytes(const char *bytes, std::size_t size) {
    HeapPtr copy(static_cast<char *>(std::malloc(size + 1)));
    if (copy) {
        std::memcpy(copy.get(), bytes, size);
        copy.get()[size] = '\0';
    }
    return copy;
}

int parseCredentials(const berval *credentials, DirectivesPtr &directives) {
    if (credentials == nullptr)
        return LDAP_SUCCESS;
    constexpr ber_len_t most = std::numeric_limits<std::uint32_t>::max();
    std::int32_t position = 0;
    const int result = parseDirectiveList(
        credentials->bv_val, static_cast<std::uint32_t>(std::min(credentials->bv_len, most)),
        Out(directives), &position);
    if (result == QLDAPX_DIGEST_NO_MEMORY)
        return LDAP_NO_MEMORY;
    return result == 0 ? LDAP_SUCCESS : LDAP_PROTOCOL_ERROR;
}

} // namespace qldapx

extern "C" {

int isWhiteSpace(unsigned char c) {
    return qldapx::kinds[c] == qldapx::Kind::white ? 1 : 0;
}

int isValidTokenChar(unsigned char c) {
    const qldapx::Kind kind = qldapx::kinds[c];
    return kind == qldapx::Kind::token || kind == qldapx::Kind::quote ? 1 : 0;
}

int parseDirectiveList(const char *text, uint32_t length, ParsedDirective **list,
                       int32_t *errorPosition) {
    *list = nullptr;
    *errorPosition = -1;
    if (qldapx::isTooLong(length))
        return QLDAPX_DIGEST_NO_MEMORY;
    qldapx::Parser parser(text);
    const int result = parser.parse(static_cast<int32_t>(length), *errorPosition);
    if (result == 0)
        *list = parser.take();
    return result;
}

void freeParsedDirectives(ParsedDirective *list) {
    while (list != nullptr) {
        ParsedDirective *const next = list->next;
        std::free(list->name);
        std::free(list->value);
        std::free(list);
        list = next;
    }
}

int addDirective(DirectiveParser *parser) {
    auto *directive = static_cast<ParsedDirective *>(std::calloc(1, sizeof(ParsedDirective)));
    qldapx::DirectivesPtr owner(directive);
    if (!owner)
        return QLDAPX_DIGEST_NO_MEMORY;
    directive->name = qldapx::copyBytes(parser->text + parser->start,
                                        static_cast<std::size_t>(parser->position - parser->start))
                          .release();
    if (directive->name == nullptr)
        return QLDAPX_DIGEST_NO_MEMORY;
    (parser->last != nullptr ? parser->last->next : parser->first) = owner.release();
    parser->last = directive;
    return 0;
}

int addValue(DirectiveParser *parser, int unescape) {
    ParsedDirective *const directive = parser->last;
    if (directive == nullptr)
        return LDAP_PARAM_ERROR;
    const int32_t size = parser->position - parser->start;
    const char *const from = parser->text + parser->start;
    // What dropped backslashes leave free at the end are zeros.
    directive->value = static_cast<char *>(std::calloc(static_cast<std::size_t>(size) + 1, 1));
    if (directive->value == nullptr)
        return QLDAPX_DIGEST_NO_MEMORY;
    if (unescape != 0)
        qldapx::unescape(directive->value, from, size);
    else
        std::memcpy(directive->value, from, static_cast<std::size_t>(size));
    directive->valueLength = size;
    directive->kind = parser->state == qldapx::inQuotes ? 1 : 2;
    return 0;
}
}
