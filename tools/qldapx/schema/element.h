#pragma once

#include "schema/kind.h"

#include <string>
#include <vector>

namespace qldapx {

/** A field of an element; a flag has no values. Texts are as people read them, not escaped. */
struct Field {
    std::string keyword;
    std::vector<std::string> values;
};

/** An element of a schema, of a server or a file. */
struct Element {
    Kind kind = Kind::attribute_type;
    std::string key;           // OID or rule id; empty when it has none
    std::vector<Field> fields; // in the order of keywordsOf, then extensions
    std::string description;   // as libldap prints it
    std::string place;         // where in a file it stands, FILE:LINE

    /** A field by its keyword, in small or capital letters; null when it is not there. */
    [[nodiscard]] const Field *field(std::string_view keyword) const;
    /** Its values, none when it is not there. */
    [[nodiscard]] const std::vector<std::string> &values(std::string_view keyword) const;
    [[nodiscard]] std::string value(std::string_view keyword) const;
    [[nodiscard]] bool has(std::string_view keyword) const { return field(keyword) != nullptr; }
    [[nodiscard]] const std::vector<std::string> &names() const { return values("NAME"); }
    /** Its first name, or its key. */
    [[nodiscard]] std::string title() const;
    /** Kind, name and OID, for sentences; printable. */
    [[nodiscard]] std::string label() const;
};

/** Reads an element's fields through the library. Throws std::bad_alloc. */
Element readElement(LDAPSchemaElement &element);

/** Puts the fields into the order of keywordsOf, extensions at the end. */
void sortFields(Element &element);

/** The element as RFC 4512, 4.1 writes it, quotes and backslashes of texts escaped. */
std::string writeDescription(const Element &element);

/** A quoted text's escapes \27 and \5c, put in and taken out. */
std::string escapedText(std::string_view text);
std::string unescapedText(std::string_view text);

/** The part of a syntax before its bound, as in 1.3.6.1.4.1.1466.115.121.1.15{64}. */
std::string_view withoutBound(std::string_view syntax);

} // namespace qldapx
