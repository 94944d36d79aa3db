#include "schema/store.h"

#include "schema/strings.h"

#include <algorithm>
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
    // NOLINTNEXTLINE(bugprone-sizeof-expression): the items may be pointers
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

// So many names of an element are looked up and moved one by one; to do it with more takes longer
// than to go through all that there are.
constexpr int fewNames = 8;

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

// Between two fences: all keys are asked for at once, so that the processor waits for them
// together.
int findClose(LDAPSchemaElement *const *elements, Range range, const char *key) {
    const char *keys[Fences::closest];
    const int count = range.last - range.first;
    for (int i = 0; i < count; ++i) {
        const LDAPSchemaElement &element = *elements[range.first + i];
        requireKind(element, soughtKind);
        keys[i] = keyOf(element);
        __builtin_prefetch(keys[i]);
    }
    const int place =
        searchByHalves(keys, 0, count, [&](const char *other) { return compareKeys(key, other); });
    return place < 0 ? -1 : range.first + place;
}

void noteInsertion(LDAPSchema &schema, unsigned kind, int place) {
    LDAPSchemaElement **elements = schema.elements[kind];
    schema.fences[kind].inserted(keyOf(*elements[place]), place);
    if (schema.fences[kind].areWorn())
        schema.fences[kind].build(elements, schema.elementCount[kind]);
}

// As the ranking says, or, where it could not rank all keys, by comparing them.
void sortElements(LDAPSchema &schema, unsigned kind, Ranking &keys) {
    LDAPSchemaElement **elements = schema.elements[kind];
    const int count = schema.elementCount[kind];
    const bool isRanked = keys.sort(count);
    for (int i = 0; isRanked && i < count; ++i)
        elements[i] = keys[i].element;
    if (!isRanked)
        std::sort(elements, elements + count,
                  [](const LDAPSchemaElement *a, const LDAPSchemaElement *b) {
                      return compareElements(*a, *b) < 0;
                  });
    schema.fences[kind].build(elements, count);
    schema.isUnsorted[kind] = false;
}

void sortAnew(LDAPSchema &schema, unsigned kind) {
    Ranking keys(Ranking::Case::Matters);
    for (int i = 0; i < schema.elementCount[kind]; ++i)
        if (const char *key = keyOf(*schema.elements[kind][i]))
            keys.add(key, schema.elements[kind][i]);
    sortElements(schema, kind, keys);
}

void compareAndSort(NameEntry *entries, int count) {
    std::sort(entries, entries + count,
              [](const NameEntry &a, const NameEntry &b) { return compareNameTo(a.name, b) < 0; });
}

void sortNames(LDAPSchema &schema, unsigned kind, Ranking &names) {
    NameEntry *entries = schema.names[kind];
    const int count = schema.nameCount[kind];
    const bool isRanked = names.sort(count);
    for (int i = 0; isRanked && i < count; ++i)
        entries[i] = {names[i].element, const_cast<char *>(names[i].text)};
    if (!isRanked)
        compareAndSort(entries, count);
}

void settleNames(LDAPSchema &schema, unsigned kind, int firstName) {
    NameEntry *entries = schema.names[kind];
    const int count = schema.nameCount[kind];
    if (count - firstName > fewNames)
        return compareAndSort(entries, count);
    for (int i = firstName; i < count; ++i)
        moveLastTo(entries, i + 1, placeBehind(entries, i, [&](const NameEntry &entry) {
                       return compareNameTo(entries[i].name, entry);
                   }));
}

void eraseName(LDAPSchema &schema, unsigned kind, int place) {
    NameEntry *entry = schema.names[kind] + place;
    --indexedOf(*entry->element);
    std::free(entry->name);
    std::memmove(entry, entry + 1,
                 static_cast<std::size_t>(--schema.nameCount[kind] - place) * sizeof *entry);
}

// Where an element is indexed under a name, among others of that name; -1: nowhere.
int findEntry(const LDAPSchema &schema, const LDAPSchemaElement *element, const char *name) {
    const NameEntry *entries = schema.names[element->kind];
    int place = placeBehind(entries, schema.nameCount[element->kind],
                            [&](const NameEntry &entry) { return compareNameTo(name, entry); });
    while (place-- > 0 && compareNameTo(name, entries[place]) == 0)
        if (entries[place].element == element)
            return place;
    return -1;
}

// All entries of an element, in one pass.
void sweepNames(LDAPSchema &schema, const LDAPSchemaElement *element) {
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

// The entries of other elements under the same names stay.
void eraseNames(LDAPSchema &schema, LDAPSchemaElement *element) {
    char **name = indexedOf(*element) > fewNames ? nullptr : headOf(*element).names;
    for (; name != nullptr && *name != nullptr; ++name) {
        const int place = findEntry(schema, element, *name);
        if (place >= 0)
            eraseName(schema, element->kind, place);
    }
    // One that was renamed is indexed under the names that it had.
    if (indexedOf(*element) > 0)
        sweepNames(schema, element);
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
        ++indexedOf(*added);
    }
    return LDAP_SUCCESS;
}

void erase(LDAPSchema &schema, LDAPSchemaElement *element) {
    const unsigned kind = element->kind;
    const int place = placeOf(schema, element);
    LDAPSchemaElement **elements = schema.elements[kind];
    std::copy(elements + place + 1, elements + schema.elementCount[kind]--, elements + place);
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

void sort(LDAPSchema &schema, unsigned kind, Ranking &keys, Ranking &names) {
    sortElements(schema, kind, keys);
    sortNames(schema, kind, names);
}

void settle(LDAPSchema &schema, unsigned kind, int firstName) {
    LDAPSchemaElement **elements = schema.elements[kind];
    const int last = schema.elementCount[kind] - 1;
    if (schema.isUnsorted[kind]) {
        sortAnew(schema, kind);
    } else {
        const int place = placeBehindKey(elements, last, keyOf(*elements[last]));
        moveLastTo(elements, last + 1, place);
        noteInsertion(schema, kind, place);
    }
    settleNames(schema, kind, firstName);
}

void replace(LDAPSchema &schema, unsigned kind, int place) {
    if (schema.isUnsorted[kind])
        return sortAnew(schema, kind);
    LDAPSchemaElement **elements = schema.elements[kind];
    const int count = schema.elementCount[kind];
    std::rotate(elements + place, elements + place + 1, elements + count);
    schema.fences[kind].erased(place);
    const int target = placeBehindKey(elements, count - 1, keyOf(*elements[count - 1]));
    moveLastTo(elements, count, target);
    noteInsertion(schema, kind, target);
}

int findKey(const LDAPSchema &schema, unsigned kind, const char *key) {
    const int count = schema.elementCount[kind];
    const Range range = schema.fences[kind].around(key, count);
    return range.last - range.first <= Fences::closest
               ? findClose(schema.elements[kind], range, key)
               : findBetween(schema, kind, key, range);
}

int findBetween(const LDAPSchema &schema, unsigned kind, const char *key, Range range) {
    return searchByHalves(
        schema.elements[kind], range.first, range.last,
        [&](const LDAPSchemaElement *element) { return compareKeyTo(key, *element); });
}

} // namespace qldapx::schema
