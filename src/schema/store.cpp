#include "schema/store.h"

#include "schema/sort.h"
#include "schema/strings.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace qldapx::schema {
namespace {

// Makes room for `more` items behind those that there are. A list that has to grow again grows by
// half of what it is, so that adding one by one costs no more than the items themselves.
template <class Item>
bool reserve(Item *&items, std::int32_t &capacity, std::int32_t count, int more) {
    constexpr int least = 10;
    if (more <= capacity - count)
        return true;
    if (more > INT_MAX - count)
        return false;
    const int step = capacity == 0 ? 0 : std::max(least, capacity / 2);
    const int wanted =
        std::max(count + more, capacity > INT_MAX - step ? INT_MAX : capacity + step);
    auto *grown =
        static_cast<Item *>(std::realloc(items, static_cast<std::size_t>(wanted) * sizeof(Item)));
    if (grown == nullptr)
        return false;
    items = grown;
    capacity = wanted;
    return true;
}

int countNames(const LDAPSchemaElement &element) {
    return static_cast<int>(countStrings(headOf(element).names));
}

// Moves the last item to a place further ahead.
template <class Item>
void moveLastTo(Item *items, int count, int place) {
    std::rotate(items + place, items + count - 1, items + count);
}

int placeBehindKey(LDAPSchemaElement *const *elements, int count, const char *key) {
    return placeBehind(elements, count, [&](const LDAPSchemaElement *element) {
        requireKind(*element, orderedKind);
        return compareKeys(key, keyOf(*element));
    });
}

void noteInsertion(LDAPSchema &schema, unsigned kind, int place) {
    LDAPSchemaElement **elements = schema.elements[kind];
    schema.fences[kind].inserted(keyOf(*elements[place]), place);
    if (schema.fences[kind].areWorn())
        schema.fences[kind].build(elements, schema.elementCount[kind]);
}

void sortElements(LDAPSchema &schema, unsigned kind) {
    LDAPSchemaElement **first = schema.elements[kind];
    LDAPSchemaElement **last = first + schema.elementCount[kind];
    LDAPSchemaElement **keyless = std::partition(first, last, [](const LDAPSchemaElement *element) {
        requireKind(*element, orderedKind);
        return keyOf(*element) != nullptr;
    });
    sortByText<ByteOrder>(first, static_cast<std::size_t>(keyless - first),
                          [](const LDAPSchemaElement *element) { return keyOf(*element); });
    schema.fences[kind].build(first, schema.elementCount[kind]);
    schema.isUnsorted[kind] = false;
}

void sortNames(LDAPSchema &schema, unsigned kind) {
    sortByText<CaseIgnoreOrder>(schema.names[kind],
                                static_cast<std::size_t>(schema.nameCount[kind]),
                                [](const NameEntry &entry) { return entry.name; });
}

// An element that was renamed has entries under names that it no longer carries, so all entries
// are looked at.
void eraseNames(LDAPSchema &schema, const LDAPSchemaElement *element) {
    NameEntry *first = schema.names[element->kind];
    std::int32_t &count = schema.nameCount[element->kind];
    NameEntry *end = std::remove_if(first, first + count, [&](const NameEntry &entry) {
        if (entry.element != element)
            return false;
        std::free(entry.name);
        return true;
    });
    count = static_cast<std::int32_t>(end - first);
}

} // namespace

bool makeRoom(LDAPSchema &schema, unsigned kind, int elements, int names) {
    return reserve(schema.elements[kind], schema.elementCapacity[kind], schema.elementCount[kind],
                   elements) &&
           reserve(schema.names[kind], schema.nameCapacity[kind], schema.nameCount[kind], names);
}

int append(LDAPSchema &schema, ElementPtr &element) {
    requireKind(*element, addedKind);
    const unsigned kind = element->kind;
    if (!makeRoom(schema, kind, 1, 0))
        return LDAP_NO_MEMORY;
    LDAPSchemaElement *added = schema.elements[kind][schema.elementCount[kind]++] =
        element.release();
    if (!makeRoom(schema, kind, 0, countNames(*added)))
        return LDAP_NO_MEMORY;
    for (char **name = headOf(*added).names; name != nullptr && *name != nullptr; ++name) {
        char *copy = strdup(*name);
        if (copy == nullptr)
            return LDAP_NO_MEMORY;
        schema.names[kind][schema.nameCount[kind]++] = {added, copy};
    }
    return LDAP_SUCCESS;
}

void erase(LDAPSchema &schema, LDAPSchemaElement *element) {
    const unsigned kind = element->kind;
    const int place = placeOf(schema, element);
    LDAPSchemaElement **elements = schema.elements[kind];
    const int behind = --schema.elementCount[kind] - place;
    std::memmove(elements + place, elements + place + 1,
                 static_cast<std::size_t>(behind) * sizeof *elements);
    schema.fences[kind].erased(place);
    eraseNames(schema, element);
    releaseElement(element);
}

int placeOf(const LDAPSchema &schema, const LDAPSchemaElement *element) {
    LDAPSchemaElement *const *elements = schema.elements[element->kind];
    const int count = schema.elementCount[element->kind];
    // Found by its key, unless others have the same one or the list is out of order.
    const char *key = keyOf(*element);
    const int place = key == nullptr ? -1 : findKey(schema, element->kind, key);
    if (place >= 0 && elements[place] == element)
        return place;
    return static_cast<int>(std::find(elements, elements + count, element) - elements);
}

void sort(LDAPSchema &schema, unsigned kind) {
    sortElements(schema, kind);
    sortNames(schema, kind);
}

void settle(LDAPSchema &schema, unsigned kind, int firstName) {
    LDAPSchemaElement **elements = schema.elements[kind];
    const int last = schema.elementCount[kind] - 1;
    if (schema.isUnsorted[kind]) {
        sortElements(schema, kind);
    } else {
        const int place = placeBehindKey(elements, last, keyOf(*elements[last]));
        moveLastTo(elements, last + 1, place);
        noteInsertion(schema, kind, place);
    }
    NameEntry *names = schema.names[kind];
    for (int i = firstName; i < schema.nameCount[kind]; ++i)
        moveLastTo(names, i + 1, placeBehind(names, i, [&](const NameEntry &entry) {
                       return compareNameTo(names[i].name, entry);
                   }));
}

void replace(LDAPSchema &schema, unsigned kind, int place) {
    if (schema.isUnsorted[kind])
        return sortElements(schema, kind);
    LDAPSchemaElement **elements = schema.elements[kind];
    const int count = schema.elementCount[kind];
    std::rotate(elements + place, elements + place + 1, elements + count);
    schema.fences[kind].erased(place);
    const int target = placeBehindKey(elements, count - 1, keyOf(*elements[count - 1]));
    moveLastTo(elements, count, target);
    noteInsertion(schema, kind, target);
}

int findKey(const LDAPSchema &schema, unsigned kind, const char *key, Range range) {
    return searchByHalves(
        schema.elements[kind], range.first, range.last,
        [&](const LDAPSchemaElement *element) { return compareKeyTo(key, *element); });
}

int findKey(const LDAPSchema &schema, unsigned kind, const char *key) {
    const int count = schema.elementCount[kind];
    return findKey(schema, kind, key, schema.fences[kind].around(key, count));
}

} // namespace qldapx::schema
