// model_list.h - what a list of directives or of tokens holds, found in another way than the
// library's: by looking for where each thing ends, with no states from byte to byte.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qldapx_test::digest_model {

constexpr long nowhere = -1;

bool isWhite(char c);
bool isOfToken(char c);

struct Directive {
    int kind = 0;
    std::string name;
    std::string value; // the bytes that its length counts and the zero behind them
    bool operator==(const Directive &) const = default;
};

struct DirectiveList {
    int code = 0;
    long errorPosition = nowhere;
    std::vector<Directive> directives;
    bool operator==(const DirectiveList &) const = default;
};

DirectiveList directivesOf(std::string_view text);

// The value that the bytes of a quoted string or of a token become.
std::string valueOf(std::string_view raw, bool unescape);

// The code of the call that finds no further token.
constexpr int lastToken = 1031;

// What a call for the next token gives.
struct TokenCall {
    int code = 0;
    long errorPosition = nowhere;
    long start = nowhere;
    std::size_t length = 0;
    bool operator==(const TokenCall &) const = default;
};

class TokenList {
  public:
    explicit TokenList(std::string_view text) : text_(text) {}
    TokenCall next();

  private:
    enum class Place { first, afterComma, inToken, afterToken };

    TokenCall findToken();
    TokenCall endToken();
    [[nodiscard]] TokenCall faultHere(int code) const;
    [[nodiscard]] bool atEnd() const { return position_ == text_.size(); }

    std::string_view text_;
    std::size_t position_ = 0;
    std::size_t start_ = 0;
    Place place_ = Place::first;
    bool isUnderWay_ = false;
};

} // namespace qldapx_test::digest_model
