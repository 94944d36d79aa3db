#include "sasl/bytes.h"
#include "sasl/directives.h"

#include <algorithm>

namespace qldapx {
namespace {

enum State : std::int32_t {
    afterToken = 6,
    beforeFirst = 9,
    afterComma = 10,
    inToken = 11,
};

struct Reader {
    std::int32_t position;
    std::int32_t start;
    const char *text;
    std::int32_t state;
    std::int32_t result; // of the last call
};

// Whether a token goes on, ends, or something is wrong.
enum class Step { on, deliver, fault };

Step enter(Reader &reader, unsigned char c) {
    if (isWhite(c))
        return Step::on;
    if (!isToken(c))
        return Step::fault;
    reader.start = reader.position;
    reader.state = inToken;
    return Step::on;
}

Step goOn(Reader &reader, unsigned char c) {
    if (isToken(c))
        return Step::on;
    if (!isWhite(c) && c != ',')
        return Step::fault;
    reader.state = c == ',' ? afterComma : afterToken;
    return Step::deliver;
}

Step leave(Reader &reader, unsigned char c) {
    if (isWhite(c))
        return Step::on;
    if (c != ',')
        return Step::fault;
    reader.state = afterComma;
    return Step::on;
}

Step take(Reader &reader, unsigned char c) {
    switch (reader.state) {
    case inToken:
        return goOn(reader, c);
    case afterToken:
        return leave(reader, c);
    default:
        return enter(reader, c);
    }
}

struct Token {
    const char *text = nullptr;
    std::uint32_t length = 0;
};

void deliver(const Reader &reader, Token &token) {
    token = {reader.text + reader.start,
             static_cast<std::uint32_t>(reader.position - reader.start)};
}

int atEnd(const Reader &reader, Token &token) {
    if (reader.state == inToken) {
        deliver(reader, token);
        return QLDAPX_DIGEST_LAST_TOKEN;
    }
    return reader.state == afterComma ? int{QLDAPX_DIGEST_TRAILING_COMMA} : 0;
}

int next(Reader &reader, std::int32_t length, Token &token, std::int32_t &errorPosition) {
    for (; reader.position < length; ++reader.position) {
        const State before{reader.state};
        switch (take(reader, static_cast<unsigned char>(reader.text[reader.position]))) {
        case Step::on:
            break;
        case Step::deliver:
            deliver(reader, token);
            return 0;
        case Step::fault:
            errorPosition = reader.position;
            return before == afterToken ? QLDAPX_DIGEST_NO_COMMA : QLDAPX_DIGEST_BAD_TOKEN;
        }
    }
    return atEnd(reader, token);
}

// The first call allocates; every later one goes on behind the byte that it stopped at.
Reader *begin(void *&state, const char *text, std::int32_t length) {
    auto *reader = static_cast<Reader *>(state);
    if (reader != nullptr) {
        reader->position = reader->position < length ? reader->position + 1 : length;
        reader->start = std::min(reader->start, reader->position);
        return reader;
    }
    reader = static_cast<Reader *>(std::malloc(sizeof(Reader)));
    if (reader != nullptr)
        *reader = {0, 0, text, beforeFirst, 0};
    state = reader;
    return reader;
}

} // namespace
} // namespace qldapx

extern "C" int parseTokenList(const char *text, uint32_t length, const char **token,
                              uint32_t *tokenLength, void **state, int32_t *errorPosition) {
    *token = nullptr;
    *tokenLength = 0;
    *errorPosition = -1;
    if (qldapx::isTooLong(length))
        return QLDAPX_DIGEST_NO_MEMORY;
    const auto end = static_cast<int32_t>(length);
    qldapx::Reader *const reader = qldapx::begin(*state, text, end);
    if (reader == nullptr)
        return QLDAPX_DIGEST_NO_MEMORY;
    qldapx::Token found;
    reader->result = qldapx::next(*reader, end, found, *errorPosition);
    *token = found.text;
    *tokenLength = found.length;
    return reader->result;
}
