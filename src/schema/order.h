// order.h - the orders of the store's lists: elements by key, byte by byte, those without a key
// last; names without regard to case.
#pragma once

#include "schema/element.h"

#include <cstring>
#include <strings.h>

namespace qldapx::schema {

// One name of one element, in the index of names.
struct NameEntry {
    LDAPSchemaElement *element;
    char *name;
};

inline int compareKeys(const char *a, const char *b) {
    if (a == nullptr || b == nullptr)
        return (a == nullptr) - (b == nullptr);
    return std::strcmp(a, b);
}

inline int compareElements(const LDAPSchemaElement &a, const LDAPSchemaElement &b) {
    requireKind(a, orderedKind);
    requireKind(b, orderedKind);
    return compareKeys(keyOf(a), keyOf(b));
}

inline int compareKeyTo(const char *key, const LDAPSchemaElement &element) {
    requireKind(element, soughtKind);
    return compareKeys(key, keyOf(element));
}

inline int compareNameTo(const char *name, const NameEntry &entry) {
    return strcasecmp(name, entry.name);
}

// Halves [first, last) until `compare` says 0; -1 when it never does.
template <class Item, class Compare>
int searchByHalves(const Item *items, int first, int last, Compare compare) {
    while (first < last) {
        const int middle = first + (last - first) / 2;
        const int order = compare(items[middle]);
        if (order == 0)
            return middle;
        (order < 0 ? last : first) = order < 0 ? middle : middle + 1;
    }
    return -1;
}

// The first of [0, count) that stands behind what `compare` looks for; count: none.
template <class Item, class Compare>
int placeBehind(const Item *items, int count, Compare compare) {
    int first = 0;
    for (int last = count; first < last;) {
        const int middle = first + (last - first) / 2;
        if (compare(items[middle]) < 0)
            last = middle;
        else
            first = middle + 1;
    }
    return first;
}

} // namespace qldapx::schema
