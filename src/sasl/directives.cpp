#include "sasl/directives.h"

#include "sasl/bytes.h"

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

// By state. Inside quotes only the closing quote gets here.
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
    {{{stop, stop, stop, {afterValue, Action::endValue}, stop, stop}}, 0, QLDAPX_DIGEST_OPEN_QUOTE},
    {{{stop,
       {afterValue, Action::endValue},
       {inToken},
       {inToken},
       stop,
       {afterComma, Action::endValue}}},
     QLDAPX_DIGEST_BAD_VALUE_TOKEN,
     0},
}};

// Of each state the kinds of bytes that change nothing, a bit each.
constexpr std::array<unsigned, stateCount> findIdleKinds() {
    std::array<unsigned, stateCount> table{};
    for (std::size_t state = 1; state < table.size(); ++state)
        for (std::size_t kind = 0; kind < kindCount; ++kind) {
            const Transition &on = rows[state].on[kind];
            const bool stays = on.next == static_cast<State>(state) && on.action == Action::none;
            table[state] |= stays ? 1U << kind : 0U;
        }
    return table;
}

constexpr std::array<unsigned, stateCount> idleKinds = findIdleKinds();

class Parser {
  public:
    explicit Parser(const char *text) { parser_.text = text; }
    ~Parser() { freeParsedDirectives(parser_.first); }
    Parser(const Parser &) = delete;
    Parser &operator=(const Parser &) = delete;

    // A fault's place is where this ends, but for a failing memory.
    int parse(std::int32_t length, std::int32_t &errorPosition) {
        for (;; ++parser_.position) {
            parser_.position = skip(parser_.position, length);
            const Row &row = rows[static_cast<std::size_t>(parser_.state)];
            if (parser_.position == length)
                return parser_.state == inToken ? addValue(&parser_, 0) : row.atEnd;
            const Transition transition = row.on[kindAt(parser_.position)];
            if (transition.next == stopped) {
                errorPosition = parser_.position;
                return row.elsewhere;
            }
            if (const int result = act(transition.action); result != 0)
                return result;
            parser_.state = transition.next;
        }
    }

    ParsedDirective *take() { return std::exchange(parser_.first, nullptr); }

  private:
    [[nodiscard]] std::size_t kindAt(std::int32_t position) const {
        return static_cast<std::size_t>(
            byteKinds[static_cast<unsigned char>(parser_.text[position])]);
    }

    // The next byte that changes anything, or the end.
    std::int32_t skip(std::int32_t position, std::int32_t length) const {
        if (parser_.state == inQuotes)
            return closingQuote(position, length);
        const unsigned idle = idleKinds[static_cast<std::size_t>(parser_.state)];
        while (position < length && (idle >> kindAt(position) & 1) != 0)
            ++position;
        return position;
    }

    // A quote behind a backslash is the string's like any byte. One behind a backslash that is
    // itself escaped is no exception: the rule looks at one byte only, and is kept.
    std::int32_t closingQuote(std::int32_t position, std::int32_t length) const {
        const char *const text = parser_.text;
        while (position < length && (text[position] != '"' || text[position - 1] == '\\'))
            ++position;
        return position;
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
            return addValue(&parser_, parser_.state == inQuotes ? 1 : 0);
        }
        return 0;
    }

    DirectiveParser parser_ = {0, 0, nullptr, beforeFirst, nullptr, nullptr};
};

// In place: each backslash goes, and the byte behind it stays as it is. What that leaves free at
// the end becomes zeros.
void unescape(char *text, std::size_t size) {
    char *to = text;
    for (std::size_t i = 0; i < size; ++i) {
        if (text[i] == '\\' && ++i == size)
            break;
        *to++ = text[i];
    }
    std::fill(to, text + size, '\0');
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
    return qldapx::isWhite(c) ? 1 : 0;
}

int isValidTokenChar(unsigned char c) {
    return qldapx::isToken(c) ? 1 : 0;
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
    auto *directive = static_cast<ParsedDirective *>(std::malloc(sizeof(ParsedDirective)));
    if (directive == nullptr)
        return QLDAPX_DIGEST_NO_MEMORY;
    *directive = {};
    qldapx::DirectivesPtr owner(directive);
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
    const auto bytes = static_cast<std::size_t>(size);
    directive->value = qldapx::copyBytes(parser->text + parser->start, bytes).release();
    if (directive->value == nullptr)
        return QLDAPX_DIGEST_NO_MEMORY;
    if (unescape != 0)
        qldapx::unescape(directive->value, bytes);
    directive->valueLength = size;
    directive->kind = parser->state == qldapx::inQuotes ? 1 : 2;
    return 0;
}
}
