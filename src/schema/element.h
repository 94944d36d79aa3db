// element.h - an element as the store holds it: its key, its names, its description.
#pragma once

#include "core/handle.h"
#include "schema/assertions.h"
#include "schema/kind.h"

namespace qldapx::schema {

void releaseElement(LDAPSchemaElement *element);
using ElementPtr = std::unique_ptr<LDAPSchemaElement, Releaser<releaseElement>>;

// An element as this library makes it: what callers see, and beside it, what the store counts.
struct OwnElement {
    LDAPSchemaElement element;
    std::int32_t indexed; // entries of the index of names that lead to it
};

// Only for elements that newElement() made, as all in the store are.
inline std::int32_t &indexedOf(LDAPSchemaElement &element) {
    return reinterpret_cast<OwnElement &>(element).indexed;
}

// What every record begins with.
struct RecordHead {
    char *key; // the OID or rule id; NULL: none, which some servers' classes are without
    char **names;
};

inline bool isKind(unsigned kind) {
    return kind < kindCount;
}

inline void requireKind(const LDAPSchemaElement &element, const Assertion &assertion) {
    if (!isKind(element.kind))
        fail(assertion);
}

inline const RecordHead &headOf(const LDAPSchemaElement &element) {
    return *static_cast<const RecordHead *>(element.record);
}

inline char *keyOf(const LDAPSchemaElement &element) {
    return headOf(element).key;
}

// An element without a record, of no more than a kind; empty when memory ran out.
ElementPtr newElement(unsigned kind);

// What a parser makes of a description: libldap's may give a record together with a code.
struct Parsed {
    void *record;
    int code;
};
Parsed parseDescription(unsigned kind, const char *text);

// Prints a description; empty when it cannot be printed or memory ran out.
LdapStringPtr printDescription(const LDAPSchemaElement &element);

} // namespace qldapx::schema
