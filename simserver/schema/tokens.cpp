#include "schema/tokens.h"

#include "schema/description.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim::schema {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kWordEnds = " \t\r\n()$'";

Token::Type typeOf(char c) {
    switch (c) {
    case '(':
        return Token::Open;
    case ')':
        return Token::Close;
    case '$':
        return Token::Dollar;
    default:
        return Token::Word;
    }
}

/** Inside quotes a quote is \27 and a backslash \5c. */
bool isEscaped(std::string_view text) {
    for (std::size_t at = text.find('\\'); at != std::string_view::npos;
         at = text.find('\\', at + 1)) {
        const std::string digits = lowerCase(text.substr(at + 1, 2));
        if (digits != "27" && digits != "5c")
            return false;
    }
    return true;
}

} // namespace

void Tokens::advance() {
    at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size());
    current_.at = at_;
    current_.text.clear();
    current_.type = Token::End;
    if (at_ == text_.size())
        return;
    if (text_[at_] == '\'')
        return readQuoted();
    current_.type = typeOf(text_[at_]);
    std::size_t end = at_ + 1;
    if (current_.type == Token::Word)
        end = std::min(text_.find_first_of(kWordEnds, at_), text_.size());
    current_.text = text_.substr(at_, end - at_);
    if (current_.text.find('\0') != std::string::npos)
        throw SyntaxError(fmt::format("character {}: a NUL byte", at_ + 1));
    at_ = end;
}

void Tokens::readQuoted() {
    const std::size_t end = text_.find('\'', at_ + 1);
    if (end == std::string_view::npos)
        throw SyntaxError(fmt::format("character {}: a quoted text has no end", at_ + 1));
    current_.type = Token::Quoted;
    current_.text = text_.substr(at_ + 1, end - at_ - 1);
    if (current_.text.find('\0') != std::string::npos)
        throw SyntaxError(fmt::format("character {}: a NUL byte in a quoted text", at_ + 1));
    if (!isEscaped(current_.text))
        throw SyntaxError(fmt::format(
            "character {}: a backslash in a quoted text that is neither \\27 nor \\5c", at_ + 1));
    at_ = end + 1;
}

std::string shorten(std::string_view text) {
    constexpr std::size_t most = 60;
    std::string piece(text.substr(0, most));
    std::replace_if(
        piece.begin(), piece.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text.size() > most ? piece + "..." : piece;
}

} // namespace stratasim::schema
