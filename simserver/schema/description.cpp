#include "schema/description.h"

#include "schema/keywords.h"
#include "schema/macros.h"
#include "schema/tokens.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim::schema {
namespace {

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A word may stand in the place of an OID, as in files of old servers: "myType-oid".
bool isWord(std::string_view text) {
    return !text.empty() && isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
        return isDigit(c) || isLetter(c) || c == '-' || c == '_' || c == '.' || c == ';';
    });
}

bool isNumber(std::string_view text) {
    return !text.empty() && (text[0] != '0' || text.size() == 1) &&
           std::all_of(text.begin(), text.end(), isDigit);
}

bool isOid(std::string_view text) {
    const auto numbers = splitAt(text, '.');
    return numbers.size() > 1 && std::all_of(numbers.begin(), numbers.end(), isNumber);
}

/** "OID{bound}" is a syntax with the length that values should have at most. */
std::string_view withoutBound(std::string_view text) {
    const std::size_t brace = text.find('{');
    if (brace == std::string_view::npos || !text.ends_with('}'))
        return text;
    const std::string_view bound = text.substr(brace + 1, text.size() - brace - 2);
    return isNumber(bound) ? text.substr(0, brace) : text;
}

class Parser {
  public:
    Parser(Kind kind, std::string_view text, const Macros *macros)
        : tokens_(text), macros_(macros) {
        description_.kind = kind;
    }

    Description run() {
        expect(Token::Open, "\"(\"");
        readId();
        while (peek().type != Token::Close)
            readClause();
        take();
        if (peek().type != Token::End)
            fail("something follows the last \")\"");
        requireAll();
        return std::move(description_);
    }

  private:
    [[noreturn]] void fail(std::string_view why) const {
        const std::string_view keyword = clause_ != nullptr ? clause_->keyword : std::string_view();
        throw SyntaxError(fmt::format("character {}: {}{}{}", tokens_.current().at + 1, keyword,
                                      keyword.empty() ? "" : ": ", why));
    }

    const Token &peek() const { return tokens_.current(); }

    /** Appends the token to the normalised text and goes on to the next one. */
    Token take() {
        Token token = tokens_.current();
        if (token.type == Token::End)
            fail("the text ends in the middle");
        if (!description_.text.empty())
            description_.text += ' ';
        description_.text += token.spelling();
        tokens_.advance();
        return token;
    }

    void expect(Token::Type type, std::string_view what) {
        if (peek().type != type)
            fail(fmt::format("{} is expected", what));
        take();
    }

    /** Takes a word or quoted word with macros replaced. */
    std::string takeReference() {
        if (peek().type != Token::Word && peek().type != Token::Quoted)
            fail("an OID or name is expected");
        if (macros_ != nullptr) {
            const std::string_view whole = peek().text;
            const std::string_view word = withoutBound(whole);
            tokens_.replace(macros_->expand(word) + std::string(whole.substr(word.size())));
        }
        const std::string_view word = withoutBound(peek().text);
        if (!isOid(word) && !isWord(word))
            fail(fmt::format("\"{}\" is neither an OID nor a name", shorten(word)));
        return std::string(take().text);
    }

    std::string takeNumber() {
        if (peek().type != Token::Word || !isNumber(peek().text))
            fail("a rule number is expected");
        return std::string(take().text);
    }

    std::string takeQuoted() {
        if (peek().type != Token::Quoted)
            fail("a quoted text is expected");
        return std::string(take().text);
    }

    std::string takeName() {
        if (peek().type == Token::Quoted && !isWord(peek().text))
            fail(fmt::format("\"{}\" is no name", shorten(peek().text)));
        return takeQuoted();
    }

    std::string takeUsage() {
        const std::string word(peek().text);
        for (const std::string_view usage : kUsages)
            if (equalIgnoringCase(usage, word)) {
                take();
                return std::string(usage);
            }
        fail("the usage is userApplications, directoryOperation, distributedOperation or "
             "dSAOperation");
    }

    void readId() {
        if (description_.kind == Kind::StructureRule)
            description_.id = takeNumber();
        else
            description_.id = takeReference();
        // What a rule is used for, and what else an entry holds, is said under the OID of another.
        if (const auto owner = ownerOf(description_.kind))
            description_.references.push_back({"", *owner, description_.id});
    }

    void readClause() {
        if (peek().type == Token::End)
            fail("the text ends without \")\"");
        if (peek().type != Token::Word)
            fail(fmt::format("a keyword is expected in place of \"{}\"",
                             shorten(peek().spelling())));
        const std::string word(peek().text);
        const Keyword *known = findKeyword(description_.kind, word);
        if (known == nullptr && !isExtension(word))
            fail(fmt::format("\"{}\" is no keyword of this kind of description", shorten(word)));
        Clause clause{std::string(known != nullptr ? known->word : word), {}};
        if (description_.has(clause.keyword))
            fail(fmt::format("{} is there twice", clause.keyword));
        take();
        clause_ = &clause;
        readValues(known != nullptr ? known->form : Form::Texts, clause.values);
        clause_ = nullptr;
        remember(known, std::move(clause));
    }

    void readValues(Form form, std::vector<std::string> &values) {
        switch (form) {
        case Form::Flag:
            return;
        case Form::Text:
            return values.push_back(takeQuoted());
        case Form::Oid:
            return values.push_back(takeReference());
        case Form::Usage:
            return values.push_back(takeUsage());
        case Form::Names:
            return readList(values, false, &Parser::takeName);
        case Form::Texts:
            return readList(values, false, &Parser::takeQuoted);
        case Form::Oids:
            return readList(values, true, &Parser::takeReference);
        case Form::Numbers:
            return readList(values, false, &Parser::takeNumber);
        }
    }

    void readList(std::vector<std::string> &values, bool dollars, std::string (Parser::*one)()) {
        if (peek().type != Token::Open)
            return values.push_back((this->*one)());
        take();
        while (peek().type != Token::Close) {
            if (dollars && !values.empty())
                expect(Token::Dollar, "\"$\" or \")\"");
            values.push_back((this->*one)());
        }
        take();
    }

    void remember(const Keyword *known, Clause clause) {
        if (known != nullptr && known->refers)
            for (const std::string &value : clause.values)
                description_.references.push_back(
                    {known->word, *known->refers, std::string(withoutBound(value))});
        if (clause.keyword == "NAME")
            description_.names = clause.values;
        description_.clauses.push_back(std::move(clause));
    }

    void requireAll() const {
        const Kind kind = description_.kind;
        for (const Keyword &keyword : kKeywords)
            if (keyword.required && keyword.belongsTo(kind) && !description_.has(keyword.word))
                fail(fmt::format("{} is missing", keyword.word));
        if (kind == Kind::AttributeType && !description_.has("SUP") && !description_.has("SYNTAX"))
            fail("SYNTAX is missing, and SUP as well");
        if (description_.has("STRUCTURAL") + description_.has("AUXILIARY") +
                description_.has("ABSTRACT") >
            1)
            fail("a class is one of ABSTRACT, STRUCTURAL and AUXILIARY");
    }

    Tokens tokens_;
    const Macros *macros_;
    const Clause *clause_ = nullptr; // whose values are being read
    Description description_;
};

std::vector<Clause> sortedClauses(const Description &description) {
    std::vector<Clause> clauses = description.clauses;
    std::sort(clauses.begin(), clauses.end(),
              [](const Clause &a, const Clause &b) { return a.keyword < b.keyword; });
    return clauses;
}

} // namespace

Description Description::parse(Kind kind, std::string_view text, const Macros *macros) {
    constexpr std::size_t longest = std::size_t{1} << 20U;
    if (text.size() > longest)
        throw SyntaxError(
            fmt::format("{} characters are more than the {} of the longest", text.size(), longest));
    return Parser(kind, text, macros).run();
}

const Clause *Description::find(std::string_view keyword) const {
    const auto found =
        std::find_if(clauses.begin(), clauses.end(),
                     [keyword](const Clause &clause) { return clause.keyword == keyword; });
    return found == clauses.end() ? nullptr : &*found;
}

std::string_view Description::value(std::string_view keyword) const {
    const Clause *clause = find(keyword);
    return clause == nullptr || clause->values.empty() ? std::string_view() : clause->values[0];
}

std::string Description::title() const {
    const std::string_view word = rowOf(kind).word;
    return names.empty() ? fmt::format("{} {}", word, shorten(id))
                         : fmt::format("{} {} ({})", word, shorten(names[0]), shorten(id));
}

bool isSame(const Description &a, const Description &b) {
    return a.kind == b.kind && a.id == b.id && a.clauses.size() == b.clauses.size() &&
           sortedClauses(a) == sortedClauses(b);
}

} // namespace stratasim::schema
