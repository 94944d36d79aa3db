#pragma once

#include <array>
#include <optional>
#include <qldapx.hpp>
#include <span>
#include <string>
#include <string_view>

namespace qldapx {

using Kind = schema::kind;
constexpr std::size_t kindCount = 8;
constexpr std::array<Kind, kindCount> allKinds = {
    Kind::attribute_type,    Kind::object_class, Kind::syntax,           Kind::matching_rule,
    Kind::matching_rule_use, Kind::name_form,    Kind::dit_content_rule, Kind::dit_structure_rule,
};

/** What a kind is called: on the command line, in the subschema entry, in sentences. */
struct KindNames {
    const char *word;
    const char *plural;
    const char *attribute;
    const char *title;
    const char *titles;
};
const KindNames &namesOf(Kind kind);

/** A kind by any of its names, in small or capital letters. */
std::optional<Kind> kindNamed(std::string_view name);
/** The same; throws UsageError. */
Kind requireKind(const std::string &name);

/** How the value of a field is written in a description. */
enum class Form { Key, Names, Quoted, Oid, Oids, RuleIds, Flag, Usage };

/** A field that a kind may have. */
struct Keyword {
    const char *name;
    Form form;
    std::optional<Kind> refersTo = {}; // what its values name
};

/** The fields of a kind in the order of RFC 4512, 4.1, but for extensions. */
std::span<const Keyword> keywordsOf(Kind kind);
/** One of them, in small or capital letters; null when there is none. */
const Keyword *keywordOf(Kind kind, std::string_view name);

constexpr bool isList(Form form) {
    return form == Form::Names || form == Form::Oids || form == Form::RuleIds;
}

bool isExtension(std::string_view keyword);

std::string lowerCase(std::string_view text);
/** Whether texts are the same in small or capital letters. */
bool sameText(std::string_view left, std::string_view right);

} // namespace qldapx
