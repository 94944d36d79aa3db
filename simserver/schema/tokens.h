#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace stratasim::schema {

/** A piece of a description. */
struct Token {
    enum Type { Open, Close, Dollar, Word, Quoted, End };
    Type type = End;
    std::string text; // without the quotes
    std::size_t at = 0;

    std::string spelling() const { return type == Quoted ? "'" + text + "'" : text; }
};

/**
 * Gives the pieces of a description one after the other. They need no blanks between them where
 * they cannot be mistaken for one. Throws SyntaxError.
 */
class Tokens {
  public:
    explicit Tokens(std::string_view text) : text_(text) { advance(); }

    const Token &current() const { return current_; }
    void advance();
    /** Another text in the place of the current one. */
    void replace(std::string text) { current_.text = std::move(text); }

  private:
    void readQuoted();

    std::string_view text_;
    std::size_t at_ = 0;
    Token current_;
};

/** A piece of somebody else's text that a message can hold. */
std::string shorten(std::string_view text);

} // namespace stratasim::schema
