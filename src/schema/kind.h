// kind.h - the eight kinds of schema elements and the fields of each, described once: listing,
// reading, changing, printing and releasing follow from these tables.
#pragma once

#include "qldapx/schema.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace qldapx::schema {

inline constexpr unsigned kindCount = 8;

// As real servers write: no OID, quoted OIDs, names in the place of OIDs.
inline constexpr unsigned parserFlags = LDAP_SCHEMA_ALLOW_NO_OID | LDAP_SCHEMA_ALLOW_QUOTED |
                                        LDAP_SCHEMA_ALLOW_DESCR | LDAP_SCHEMA_ALLOW_DESCR_PREFIX;

enum class FieldType : std::uint8_t {
    Text,         // char *
    BoundedText,  // char * with an int behind it, the bound of a syntax
    List,         // char **
    QuotedList,   // char ** that is printed in quotes, so that it may be empty
    Flag,         // int: set when it is not 0
    FlagOne,      // int: set when it is 1
    Usage,        // int: one of four words is its value
    UsageKeyword, // the same int: set when it is the row's number
    ClassKind,    // int: set when it is the row's number
};

// What a row is for.
enum Use : std::uint8_t { Listed = 1, Read = 2, Changed = 4, Always = Listed | Read | Changed };

struct Field {
    const char *keyword;
    FieldType type;
    std::uint16_t offset; // within the record
    std::uint8_t uses = Always;
    std::uint8_t number = 0;
    bool isRequired = false; // libldap's printer takes for granted that it is there
};

struct KindTraits {
    const char *attribute; // of the subschema subentry
    void *(*parse)(const char *text, int *code, const char **errorAt, unsigned flags);
    char *(*print)(void *record);
    void (*release)(void *record);
    std::size_t recordSize;
    std::size_t extensions; // where the record has them
    bool givesExtensions;   // to those who read fields
    std::span<const Field> fields;
};

extern const KindTraits kinds[kindCount];

inline constexpr const char *usages[] = {"userApplications", "directoryOperation",
                                         "distributedOperation", "dSAOperation"};

// Rows of the longest table.
inline constexpr std::size_t mostFields = 17;

template <class T>
T &member(void *record, std::size_t offset) {
    return *reinterpret_cast<T *>(static_cast<char *>(record) + offset);
}

inline LDAPSchemaExtensionItem **&extensionsOf(const LDAPSchemaElement &element) {
    return member<LDAPSchemaExtensionItem **>(element.record, kinds[element.kind].extensions);
}

// The row that a keyword selects for a use, without regard to case; nullptr: it is an extension.
const Field *findField(unsigned kind, const char *keyword, Use use);

} // namespace qldapx::schema
