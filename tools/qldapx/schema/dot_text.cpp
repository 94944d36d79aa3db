#include "schema/dot_text.h"

#include "text.h"

namespace qldapx {
namespace {

std::string replaced(std::string_view text, std::string (*replace)(char)) {
    std::string result;
    for (const char c : printable(text))
        result += replace(c);
    return result;
}

std::string markup(char c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return {c};
    }
}

} // namespace

std::string dotQuoted(std::string_view text) {
    return replaced(text, [](char c) {
        return c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    });
}

std::string dotMarkup(std::string_view text) {
    return replaced(text, markup);
}

std::string dotMarkupAttribute(std::string_view text) {
    return replaced(text, [](char c) { return c == '\\' ? std::string("\\\\") : markup(c); });
}

} // namespace qldapx
