#include "schema/description_reader.h"

#include <cstring>

namespace qldapx::schema {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

StringPtr copyText(const char *first, const char *last) {
    const auto size = static_cast<std::size_t>(last - first);
    auto *copy = static_cast<char *>(ber_memalloc(size + 1));
    if (copy != nullptr) {
        std::memcpy(copy, first, size);
        copy[size] = '\0';
    }
    return StringPtr(copy);
}

bool isOid(const Token &token, bool mayBeQuoted) {
    return token.type == TokenType::Word || (mayBeQuoted && token.type == TokenType::Quoted);
}

} // namespace

void DescriptionReader::skipBlanks() {
    at_ += std::strspn(at_, " \t\n"); // what libldap takes for white space
}

int DescriptionReader::take(Token &token) {
    skipBlanks();
    token.text.reset();
    const char *start = at_;
    switch (*at_) {
    case '\0':
        token.type = TokenType::End;
        return 0;
    case '(':
        token.type = TokenType::Left;
        break;
    case ')':
        token.type = TokenType::Right;
        break;
    case '$':
        token.type = TokenType::Dollar;
        break;
    case '\'':
        return takeQuoted(token);
    default:
        at_ += std::strcspn(at_, " \t\n()$'{");
        token.type = at_ == start ? TokenType::Other : TokenType::Word;
        token.text = copyText(start, at_);
        return token.text == nullptr ? LDAP_SCHERR_OUTOFMEM : 0;
    }
    ++at_;
    return 0;
}

int DescriptionReader::takeQuoted(Token &token) {
    const char *first = ++at_;
    at_ += std::strcspn(at_, "'");
    if (*at_ == '\0') {
        token.type = TokenType::Other;
        return 0;
    }
    token.type = TokenType::Quoted;
    token.text = copyText(first, at_++);
    return token.text == nullptr ? LDAP_SCHERR_OUTOFMEM : 0;
}

int DescriptionReader::takeOid(bool mayBeQuoted, char *&oid) {
    skipBlanks();
    const bool isQuoted = mayBeQuoted && *at_ == '\'';
    if (isQuoted)
        ++at_;
    const char *first = at_;
    while (*at_ != '\0') {
        if (!isDigit(*at_))
            return LDAP_SCHERR_NODIGIT;
        while (isDigit(*at_))
            ++at_;
        if (*at_ != '.')
            break;
        ++at_;
    }
    const char *last = at_;
    if (isQuoted) {
        if (*at_ != '\'')
            return LDAP_SCHERR_UNEXPTOKEN;
        ++at_;
    }
    oid = copyText(first, last).release();
    return oid == nullptr ? LDAP_SCHERR_OUTOFMEM : 0;
}

int DescriptionReader::takeQuotedList(StringListBuilder &list) {
    Token token;
    int code = take(token);
    if (code != 0)
        return code;
    if (token.type == TokenType::Quoted)
        return list.add(std::move(token.text));
    if (token.type != TokenType::Left)
        return LDAP_SCHERR_BADNAME;
    while ((code = take(token)) == 0 && token.type != TokenType::Right) {
        code = token.type == TokenType::Quoted ? list.add(std::move(token.text))
                                               : LDAP_SCHERR_UNEXPTOKEN;
        if (code != 0)
            return code;
    }
    return code == 0 ? list.end() : code;
}

int DescriptionReader::takeOids(bool mayBeQuoted, StringListBuilder &list) {
    Token token;
    const int code = take(token);
    if (code != 0)
        return code;
    if (isOid(token, mayBeQuoted))
        return list.add(std::move(token.text));
    return token.type == TokenType::Left ? takeOidsInside(mayBeQuoted, list) : LDAP_SCHERR_BADNAME;
}

int DescriptionReader::takeOidsInside(bool mayBeQuoted, StringListBuilder &list) {
    bool mayEnd = false; // not at the beginning, and not behind a dollar
    for (;;) {
        Token token;
        int code = take(token);
        if (code != 0)
            return code;
        if (token.type == TokenType::Right && mayEnd)
            return 0;
        if (token.type == TokenType::Dollar && mayEnd)
            mayEnd = false;
        else if (!isOid(token, mayBeQuoted))
            return LDAP_SCHERR_UNEXPTOKEN;
        else if ((code = list.add(std::move(token.text))) != 0)
            return code;
        else
            mayEnd = true;
    }
}

} // namespace qldapx::schema
