// store.h - the schema handle: the elements of each kind in the order of their keys, the index of
// their names, and the changes that are to be saved.
#pragma once

#include "schema/fences.h"
#include "schema/order.h"
#include "schema/ranking.h"

namespace qldapx::schema {

inline constexpr std::uint32_t validMark = 0xDEADBEEF;

} // namespace qldapx::schema

// Lies in zeroed memory. The members up to the changes are in the order that debuggers and other
// tools know.
struct LDAPSchema {
    std::uint32_t mark; // validMark from the end of a fetch until the release
    LDAPSchemaElement **elements[qldapx::schema::kindCount];
    std::int32_t elementCapacity[qldapx::schema::kindCount];
    std::int32_t elementCount[qldapx::schema::kindCount];
    qldapx::schema::NameEntry *names[qldapx::schema::kindCount];
    std::int32_t nameCapacity[qldapx::schema::kindCount];
    std::int32_t nameCount[qldapx::schema::kindCount];
    LDAPMod **changes; // ended by NULL; NULL: none yet
    std::int32_t changeCount;
    std::int32_t changeCapacity;
    qldapx::schema::Fences fences[qldapx::schema::kindCount];
    bool isUnsorted[qldapx::schema::kindCount]; // a rule id was changed where it stands
};

namespace qldapx::schema {

inline bool isValid(const LDAPSchema &schema) {
    return schema.mark == validMark;
}

// Makes room for so many more elements and names.
[[nodiscard]] bool makeRoom(LDAPSchema &schema, unsigned kind, int elements, int names);

// Appends an element and its names. It stays its owner's when there is no room for it; when there
// is none for a name, the element is in the store all the same.
[[nodiscard]] int append(LDAPSchema &schema, ElementPtr &element);

// Takes an element out of both lists and releases it. No name goes with it but its own.
void erase(LDAPSchema &schema, LDAPSchemaElement *element);

// Where an element stands in its list.
int placeOf(const LDAPSchema &schema, const LDAPSchemaElement *element);

// Brings both lists into order, after a fetch ranked their texts, or ...
void sort(LDAPSchema &schema, unsigned kind, Ranking &keys, Ranking &names);
// ... after an element was appended, the names from `firstName` on with it, or ...
void settle(LDAPSchema &schema, unsigned kind, int firstName);
// ... after the key of the element at a place changed.
void replace(LDAPSchema &schema, unsigned kind, int place);

// The place of an element of this key, in the whole list or a part of it; -1: none.
int findKey(const LDAPSchema &schema, unsigned kind, const char *key);
int findBetween(const LDAPSchema &schema, unsigned kind, const char *key, Range range);

} // namespace qldapx::schema
