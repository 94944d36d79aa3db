#include "schema/files.h"

#include "ldif_lines.h"
#include "schema/tokens.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace stratasim::schema {
namespace {

constexpr std::string_view kBlanks = " \t";

struct Directive {
    std::string_view word;
    Kind kind;
};

constexpr Directive kDirectives[] = {
    {"attributetype", Kind::AttributeType}, {"attributetypes", Kind::AttributeType},
    {"objectclass", Kind::ObjectClass},     {"objectclasses", Kind::ObjectClass},
    {"ldapsyntax", Kind::Syntax},           {"ditcontentrule", Kind::ContentRule},
};
constexpr std::string_view kMacroDirective = "objectidentifier";

std::string sourceOf(const std::string &name, int line) {
    return fmt::format("{}: line {}", name, line);
}

/** The first word, which is cut off the text with the blanks behind it. */
std::string_view takeWord(std::string_view &text) {
    text = trim(text);
    const std::size_t end = std::min(text.find_first_of(kBlanks), text.size());
    const std::string_view word = text.substr(0, end);
    text = trim(text.substr(end));
    return word;
}

/** "{0}" before a value tells its place in a list. */
std::string_view withoutPlace(std::string_view value) {
    const std::size_t end = value.find('}');
    if (!value.starts_with('{') || end == std::string_view::npos)
        return value;
    const std::string_view place = value.substr(1, end - 1);
    return parseInteger(place) ? value.substr(end + 1) : value;
}

/** Whether the first line that says something is one of LDIF: a name and a colon. */
bool isLdif(std::istringstream in) {
    std::string line;
    while (std::getline(in, line)) {
        const std::string_view text = trim(line);
        if (text.empty() || text == "\r" || text.starts_with('#'))
            continue;
        const std::size_t end = text.find_first_of(" \t:(");
        return end != std::string_view::npos && text[end] == ':';
    }
    return true;
}

} // namespace

void Files::read(std::istream &in, const std::string &name) {
    // Whole, as it is looked at twice and need not be a file that can be wound back.
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    std::istringstream lines(text);
    if (isLdif(std::istringstream(text)))
        readLdif(lines, name);
    else
        readDirectives(lines, name);
}

void Files::readLdif(std::istream &in, const std::string &name) {
    try {
        LdifLines lines(in);
        for (std::string line; lines.next(line);) {
            if (line.empty())
                continue;
            const LdifPair pair = parseLdifLine(line, lines.number());
            takePair(pair.name, pair.value, sourceOf(name, lines.number()));
        }
    } catch (const LdifError &error) {
        throw FileError(fmt::format("{}: {}", name, error.what()));
    }
}

void Files::takePair(const std::string &attribute, std::string_view value,
                     const std::string &source) {
    std::string lower = lowerCase(attribute);
    if (lower.starts_with("olc"))
        lower.erase(0, 3);
    value = trim(withoutPlace(value));
    if (lower == kMacroDirective)
        takeMacro(value, source);
    else if (const auto kind = kindOfAttribute(lower))
        statements_.push_back({*kind, std::string(value), source});
}

void Files::readDirectives(std::istream &in, const std::string &name) {
    std::string statement;
    int begin = 0;
    int number = 0;
    const auto finish = [&] {
        if (!statement.empty() && statement[0] != '#')
            takeDirective(statement, sourceOf(name, begin));
        statement.clear();
    };
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.ends_with('\r'))
            line.pop_back();
        const std::string_view text = trim(line);
        if (text.empty())
            continue;
        if (kBlanks.find(line[0]) != std::string_view::npos) {
            (statement += ' ') += text;
            continue;
        }
        finish();
        statement = text;
        begin = number;
    }
    finish();
}

void Files::takeDirective(std::string_view line, const std::string &source) {
    std::string_view rest = line;
    // The parenthesis may follow the word at once.
    const std::string word = lowerCase(line.substr(0, line.find_first_of(" \t(")));
    rest.remove_prefix(word.size());
    if (word == kMacroDirective)
        return takeMacro(rest, source);
    const auto known = std::find_if(std::begin(kDirectives), std::end(kDirectives),
                                    [&](const Directive &row) { return row.word == word; });
    if (known != std::end(kDirectives))
        statements_.push_back({known->kind, std::string(trim(rest)), source});
    else
        warnings_.push_back(fmt::format("{}: \"{}\" is no directive of a schema and is passed over",
                                        source, shorten(word)));
}

void Files::takeMacro(std::string_view words, const std::string &source) {
    const std::string_view name = takeWord(words);
    const std::string_view value = takeWord(words);
    if (value.empty() || !words.empty())
        throw FileError(fmt::format("{}: an OID macro is a name and an OID", source));
    if (!macros_.define(name, value))
        throw FileError(
            fmt::format("{}: the OID macro {} has another value already", source, shorten(name)));
}

std::vector<Element> Files::parse() const {
    std::vector<Element> elements;
    elements.reserve(statements_.size());
    for (const Statement &statement : statements_) {
        try {
            Description description = Description::parse(statement.kind, statement.text, &macros_);
            description.source = statement.source;
            elements.push_back(std::make_shared<const Description>(std::move(description)));
        } catch (const SyntaxError &error) {
            throw FileError(fmt::format("{}: {} {}: {}", statement.source,
                                        rowOf(statement.kind).word, shorten(statement.text),
                                        error.what()));
        }
    }
    return elements;
}

} // namespace stratasim::schema
