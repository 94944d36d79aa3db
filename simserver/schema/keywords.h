#pragma once

#include "schema/description.h"

namespace stratasim::schema {

/** What follows a keyword. */
enum class Form { Flag, Text, Texts, Names, Oid, Oids, Numbers, Usage };

struct Keyword {
    unsigned kinds; // a bit each
    std::string_view word;
    Form form;
    std::optional<Kind> refers = std::nullopt;
    bool required = false;

    constexpr bool belongsTo(Kind kind) const {
        return (kinds >> static_cast<unsigned>(kind) & 1U) != 0;
    }
};

template <typename... Each>
constexpr unsigned bits(Each... kinds) {
    return ((1U << static_cast<unsigned>(kinds)) | ...);
}

inline constexpr unsigned kAnyKind = (1U << kKinds) - 1;
inline constexpr bool kRequired = true;

/** The keywords of RFC 4512, 4.1. A syntax may have a name here, as some servers give it one. */
inline constexpr Keyword kKeywords[] = {
    {kAnyKind, "NAME", Form::Names},
    {kAnyKind, "DESC", Form::Text},
    {kAnyKind, "OBSOLETE", Form::Flag},
    {bits(Kind::AttributeType), "SUP", Form::Oid, Kind::AttributeType},
    {bits(Kind::AttributeType), "EQUALITY", Form::Oid, Kind::MatchingRule},
    {bits(Kind::AttributeType), "ORDERING", Form::Oid, Kind::MatchingRule},
    {bits(Kind::AttributeType), "SUBSTR", Form::Oid, Kind::MatchingRule},
    {bits(Kind::AttributeType), "SYNTAX", Form::Oid, Kind::Syntax},
    {bits(Kind::AttributeType), "SINGLE-VALUE", Form::Flag},
    {bits(Kind::AttributeType), "COLLECTIVE", Form::Flag},
    {bits(Kind::AttributeType), "NO-USER-MODIFICATION", Form::Flag},
    {bits(Kind::AttributeType), "USAGE", Form::Usage},
    {bits(Kind::MatchingRule), "SYNTAX", Form::Oid, Kind::Syntax, kRequired},
    {bits(Kind::MatchingRuleUse), "APPLIES", Form::Oids, Kind::AttributeType, kRequired},
    {bits(Kind::ObjectClass), "SUP", Form::Oids, Kind::ObjectClass},
    {bits(Kind::ObjectClass), "ABSTRACT", Form::Flag},
    {bits(Kind::ObjectClass), "STRUCTURAL", Form::Flag},
    {bits(Kind::ObjectClass), "AUXILIARY", Form::Flag},
    {bits(Kind::ContentRule), "AUX", Form::Oids, Kind::ObjectClass},
    {bits(Kind::ContentRule), "NOT", Form::Oids, Kind::AttributeType},
    {bits(Kind::NameForm), "OC", Form::Oid, Kind::ObjectClass, kRequired},
    {bits(Kind::NameForm), "MUST", Form::Oids, Kind::AttributeType, kRequired},
    {bits(Kind::ObjectClass, Kind::ContentRule), "MUST", Form::Oids, Kind::AttributeType},
    {bits(Kind::ObjectClass, Kind::ContentRule, Kind::NameForm), "MAY", Form::Oids,
     Kind::AttributeType},
    {bits(Kind::StructureRule), "FORM", Form::Oid, Kind::NameForm, kRequired},
    {bits(Kind::StructureRule), "SUP", Form::Numbers, Kind::StructureRule},
};

inline constexpr std::string_view kUsages[] = {"userApplications", "directoryOperation",
                                               "distributedOperation", "dSAOperation"};

const Keyword *findKeyword(Kind kind, std::string_view word);
/** "X-" and the rest of a name. */
bool isExtension(std::string_view word);
/** The kind of the element that an element of this kind shares its OID with. */
std::optional<Kind> ownerOf(Kind kind);

} // namespace stratasim::schema
