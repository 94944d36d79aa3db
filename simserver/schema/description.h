#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim::schema {

/** The kinds of elements of a schema, in the order of RFC 4512, 4.2. */
enum class Kind {
    AttributeType,
    ObjectClass,
    Syntax,
    MatchingRule,
    MatchingRuleUse,
    NameForm,
    ContentRule,
    StructureRule,
};
inline constexpr std::size_t kKinds = 8;

struct KindRow {
    Kind kind;
    std::string_view attribute; // of the subschema entry
    std::string_view word;      // in messages
};
extern const std::array<KindRow, kKinds> kKindRows;

inline std::size_t indexOf(Kind kind) {
    return static_cast<std::size_t>(kind);
}
inline const KindRow &rowOf(Kind kind) {
    return kKindRows[indexOf(kind)];
}
/** The kind whose descriptions an attribute of the subschema entry holds, by its name. */
std::optional<Kind> kindOfAttribute(std::string_view name);

/** A text that is no description; what() says where and why. */
struct SyntaxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A keyword of a description and what follows it, without quotes and parentheses. */
struct Clause {
    std::string keyword;
    std::vector<std::string> values;
    bool operator==(const Clause &) const = default;
};

/** A mention of another element: its OID, rule number or name. */
struct Reference {
    std::string_view keyword;
    Kind kind;
    std::string to;
};

class Macros;

/** A description of RFC 4512, 4.1, taken apart. */
struct Description {
    Kind kind;
    std::string id; // OID or rule number
    std::vector<std::string> names;
    std::vector<Clause> clauses; // all of them, in the order of the text
    std::vector<Reference> references;
    std::string text;   // with single blanks between its words
    std::string source; // file and line, if it comes from a file

    static Description parse(Kind kind, std::string_view text, const Macros *macros = nullptr);

    const Clause *find(std::string_view keyword) const;
    bool has(std::string_view keyword) const { return find(keyword) != nullptr; }
    /** The first value behind the keyword; empty without it. */
    std::string_view value(std::string_view keyword) const;
    /** How messages call it: "attribute type cn (2.5.4.3)". */
    std::string title() const;
};
using Element = std::shared_ptr<const Description>;

/** Whether two texts say the same; the order of the keywords tells nothing. */
bool isSame(const Description &a, const Description &b);

} // namespace stratasim::schema
