#include "sasl/model_list.h"

#include <algorithm>

namespace qldapx_test::digest_model {

namespace {

constexpr int badName = 1022, noEquals = 1023, badValue = 1024, badValueToken = 1025,
              noComma = 1026, trailingComma = 1027, noValue = 1028, openQuote = 1029,
              badToken = 1030;

std::size_t endOf(bool (*belongs)(char), std::string_view text, std::size_t from) {
    const auto *end = std::find_if_not(text.begin() + from, text.end(), belongs);
    return static_cast<std::size_t>(end - text.begin());
}

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    [[nodiscard]] bool atEnd() const { return position_ == text_.size(); }
    [[nodiscard]] std::size_t position() const { return position_; }
    [[nodiscard]] char here() const { return text_[position_]; }

    void skipWhite() { position_ = endOf(isWhite, text_, position_); }
    bool take(char c) {
        const bool isThere = !atEnd() && here() == c;
        position_ += isThere ? 1 : 0;
        return isThere;
    }
    std::string_view takeToken() { return takeUntil(endOf(isOfToken, text_, position_)); }
    // Up to the first quote without a backslash before it, and that quote; all of the text when
    // there is none.
    std::string_view takeQuoted() {
        std::size_t quote = text_.find('"', position_);
        while (quote != text_.npos && text_[quote - 1] == '\\')
            quote = text_.find('"', quote + 1);
        return takeUntil(std::min(quote, text_.size()));
    }

  private:
    std::string_view takeUntil(std::size_t end) {
        const std::string_view taken = text_.substr(position_, end - position_);
        position_ = end;
        return taken;
    }

    std::string_view text_;
    std::size_t position_ = 0;
};

int readQuoted(Reader &in, Directive &directive) {
    const std::string_view raw = in.takeQuoted();
    directive.kind = 1;
    directive.value = valueOf(raw, true);
    return in.take('"') ? 0 : openQuote;
}

int readBare(Reader &in, Directive &directive) {
    const std::string_view raw = in.takeToken();
    directive.kind = 2;
    directive.value = valueOf(raw, false);
    if (raw.empty())
        return badValue;
    return in.atEnd() || in.here() == ',' || isWhite(in.here()) ? 0 : badValueToken;
}

int readDirective(Reader &in, Directive &directive) {
    directive.name = in.takeToken();
    const bool isSpaced = !in.atEnd() && isWhite(in.here());
    if (directive.name.empty())
        return badName;
    in.skipWhite();
    if (in.atEnd())
        return noValue;
    if (!in.take('='))
        return isSpaced ? noEquals : badName;
    in.skipWhite();
    if (in.atEnd())
        return noValue;
    return in.take('"') ? readQuoted(in, directive) : readBare(in, directive);
}

int readAll(Reader &in, std::vector<Directive> &directives) {
    in.skipWhite();
    while (!in.atEnd()) {
        if (int code = readDirective(in, directives.emplace_back()))
            return code;
        in.skipWhite();
        if (in.atEnd())
            return 0;
        if (!in.take(','))
            return noComma;
        in.skipWhite();
        if (in.atEnd())
            return trailingComma;
    }
    return 0;
}

} // namespace

bool isWhite(char c) {
    return std::string_view("\t\n\r ").find(c) != std::string_view::npos;
}

bool isOfToken(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > ' ' && byte != 127 &&
           std::string_view("%(),:;<=>?@[\\]{}").find(c) == std::string_view::npos;
}

std::string valueOf(std::string_view raw, bool unescape) {
    std::string value(raw);
    if (unescape)
        for (std::size_t i = value.find('\\'); i != value.npos; i = value.find('\\', i + 1))
            value.erase(i, 1);
    value.resize(raw.size() + 1);
    return value;
}

DirectiveList directivesOf(std::string_view text) {
    Reader in(text);
    DirectiveList list;
    list.code = readAll(in, list.directives);
    if (list.code == 0)
        return list;
    list.directives.clear();
    if (!in.atEnd())
        list.errorPosition = static_cast<long>(in.position());
    return list;
}

// Goes on behind what the last call looked at, be it a fault.
TokenCall TokenList::next() {
    if (isUnderWay_ && !atEnd())
        ++position_;
    isUnderWay_ = true;
    return place_ == Place::inToken ? endToken() : findToken();
}

TokenCall TokenList::findToken() {
    for (;;) {
        position_ = endOf(isWhite, text_, position_);
        if (atEnd())
            return {place_ == Place::afterComma ? trailingComma : 0};
        if (place_ != Place::afterToken)
            break;
        if (text_[position_] != ',')
            return faultHere(noComma);
        place_ = Place::afterComma;
        ++position_;
    }
    if (!isOfToken(text_[position_]))
        return faultHere(badToken);
    start_ = position_;
    place_ = Place::inToken;
    return endToken();
}

TokenCall TokenList::endToken() {
    position_ = endOf(isOfToken, text_, position_);
    TokenCall call{lastToken, nowhere, static_cast<long>(start_), position_ - start_};
    if (atEnd())
        return call;
    const char c = text_[position_];
    if (c != ',' && !isWhite(c))
        return faultHere(badToken);
    place_ = c == ',' ? Place::afterComma : Place::afterToken;
    call.code = 0;
    return call;
}

TokenCall TokenList::faultHere(int code) const {
    return {code, static_cast<long>(position_)};
}

} // namespace qldapx_test::digest_model
