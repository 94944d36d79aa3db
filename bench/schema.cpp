// schema WHAT TYPES ROUNDS - schema access beside the same done by hand on libldap, in turn:
//
//   fetch   ldap_schema_fetch; by hand: the search and ldap_str2attributetype of each value
//   alone   ldap_schema_fetch and ldap_schema_free, for counting instructions
//   lookup  ldap_schema_get_by_name by OID and by name; by hand: a binary search of an array of
//           the same strings
//   edit    1,000 modifies, adds and deletes; by hand: moving one array of so many pointers
//   memory  bytes an element in use beside libldap's records and the names
//
// Times are the processor's, of this process. Prints one line per figure.
#include "subschema.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <malloc.h>
#include <qldapx.h>
#include <random>
#include <string_view>
#include <strings.h>
#include <time.h>

namespace {

constexpr unsigned parserFlags = LDAP_SCHEMA_ALLOW_NO_OID | LDAP_SCHEMA_ALLOW_QUOTED |
                                 LDAP_SCHEMA_ALLOW_DESCR | LDAP_SCHEMA_ALLOW_DESCR_PREFIX;

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

double microseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// What was released before is put together first, which is not the work's cost.
double time(const std::function<void()> &work) {
    malloc_trim(0);
    const double start = microseconds();
    work();
    return microseconds() - start;
}

using Types = std::vector<LDAPAttributeType *>;

void parse(LDAP *ld, LDAPMessage *result, Types &types) {
    berval **values = ldap_get_values_len(ld, ldap_first_entry(ld, result), "attributeTypes");
    types.reserve(static_cast<std::size_t>(ldap_count_values_len(values)));
    for (berval **value = values; *value != nullptr; ++value) {
        int code = 0;
        const char *errorAt = nullptr;
        types.push_back(ldap_str2attributetype((*value)->bv_val, &code, &errorAt, parserFlags));
    }
    ldap_value_free_len(values);
}

void parseByHand(const bench::Subschema &server, Types &types) {
    LDAPMessage *result = server.search();
    parse(server.session(), result, types);
    ldap_msgfree(result);
}

LDAPSchema *fetch(const bench::Subschema &server) {
    LDAPSchema *schema = nullptr;
    if (ldap_schema_fetch(server.session(), &schema, bench::subschemaDn) != LDAP_SUCCESS)
        fail("the schema was not fetched");
    return schema;
}

void release(Types &types) {
    for (LDAPAttributeType *type : types)
        ldap_attributetype_free(type);
    types.clear();
}

void measureFetch(const bench::Subschema &server, int rounds) {
    std::vector<double> ratios;
    for (int round = 0; round <= rounds; ++round) {
        LDAPSchema *schema = nullptr;
        const double library = time([&] { schema = fetch(server); });
        ldap_schema_free(schema);
        Types types;
        const double hand = time([&] { parseByHand(server, types); });
        release(types);
        if (round > 0) // the first one warms the heap
            std::printf("library %.0f\nhand %.0f\nratio %.4f\n", library, hand, library / hand);
    }
}

void fetchAlone(const bench::Subschema &server, int rounds) {
    for (int round = 0; round < rounds; ++round)
        ldap_schema_free(fetch(server));
}

LDAPAttributeType *typeAt(LDAPSchema *schema, int index) {
    LDAPSchemaElement *element = nullptr;
    if (ldap_schema_get_by_index(schema, index, LDAP_SCHEMA_ATTRIBUTE_TYPE, &element) != 0)
        fail("an element is missing");
    return static_cast<LDAPAttributeType *>(element->record);
}

using Compare = int (*)(const char *, const char *);

template <Compare compare>
void searchByHand(const std::vector<const char *> &strings, const std::vector<std::string> &keys) {
    for (const std::string &key : keys) {
        std::size_t first = 0, last = strings.size();
        bool found = false;
        while (!found && first < last) {
            const std::size_t middle = first + (last - first) / 2;
            const int order = compare(key.c_str(), strings[middle]);
            found = order == 0;
            (order < 0 ? last : first) = order < 0 ? middle : middle + 1;
        }
        if (!found)
            fail("a string was not found");
    }
}

void lookUp(LDAPSchema *schema, const std::vector<std::string> &keys) {
    for (const std::string &key : keys) {
        LDAPSchemaElement *element = nullptr;
        if (ldap_schema_get_by_name(schema, key.c_str(), LDAP_SCHEMA_ATTRIBUTE_TYPE, &element) != 0)
            fail("an element was not found");
    }
}

template <Compare compare>
void measureLookup(const char *what, LDAPSchema *schema, std::vector<const char *> strings,
                   int rounds) {
    constexpr int lookups = 100000;
    std::sort(strings.begin(), strings.end(),
              [](const char *a, const char *b) { return compare(a, b) < 0; });
    std::mt19937 random(1); // NOLINT: the same each time
    std::vector<std::string> keys;
    for (int i = 0; i < lookups; ++i)
        keys.emplace_back(strings[random() % strings.size()]);
    for (int round = 0; round < rounds; ++round) {
        const double library = time([&] { lookUp(schema, keys); });
        const double hand = time([&] { searchByHand<compare>(strings, keys); });
        std::printf("%s-library %.1f\n%s-hand %.1f\n%s-ratio %.4f\n", what, library * 1e3 / lookups,
                    what, hand * 1e3 / lookups, what, library / hand);
    }
}

void measureLookups(const bench::Subschema &server, int rounds) {
    LDAPSchema *schema = fetch(server);
    std::vector<const char *> oids, names;
    for (int i = 0; i < ldap_schema_get_count(schema, LDAP_SCHEMA_ATTRIBUTE_TYPE); ++i) {
        oids.push_back(typeAt(schema, i)->at_oid);
        names.push_back(typeAt(schema, i)->at_names[0]);
    }
    measureLookup<std::strcmp>("oid", schema, oids, rounds);
    measureLookup<strcasecmp>("name", schema, names, rounds);
    ldap_schema_free(schema);
}

// The strings of one edit.
class Edit {
  public:
    explicit Edit(int number)
        : oid_("2.16.840.1.907341.9.99.5" + std::to_string(number * 7919L % 10007) + ".1"),
          name_("added" + std::to_string(number * 7919L % 10007)) {}

    const char *oid() const { return oid_.c_str(); }
    LDAPMod **fields() { return list_; }
    LDAPMod **description() { return list_ + 2; }

  private:
    std::string oid_, name_;
    char keywords_[3][5] = {"OID", "NAME", "DESC"};
    char text_[8] = "Changed";
    char *oids_[2] = {oid_.data(), nullptr};
    char *names_[2] = {name_.data(), nullptr};
    char *texts_[2] = {text_, nullptr};
    LDAPMod mods_[3] = {{LDAP_MOD_ADD, keywords_[0], {oids_}},
                        {LDAP_MOD_ADD, keywords_[1], {names_}},
                        {LDAP_MOD_REPLACE, keywords_[2], {texts_}}};
    LDAPMod *list_[4] = {&mods_[0], &mods_[1], &mods_[2], nullptr};
};

void expectSuccess(int result) {
    if (result != LDAP_SUCCESS)
        fail("an edit failed");
}

void measureEdits(const bench::Subschema &server, int types, int rounds) {
    constexpr unsigned kind = LDAP_SCHEMA_ATTRIBUTE_TYPE;
    constexpr int edits = 1000;
    for (int round = 0; round < rounds; ++round) {
        LDAPSchema *schema = fetch(server);
        std::vector<Edit *> all;
        for (int i = 0; i < edits; ++i)
            all.push_back(new Edit(i));
        std::printf("add %.3f\n",
                    time([&] {
                        for (Edit *edit : all)
                            expectSuccess(ldap_schema_add(schema, kind, edit->fields()));
                    }) / edits);
        std::printf("modify %.3f\n", time([&] {
                                         for (Edit *edit : all)
                                             expectSuccess(ldap_schema_modify(
                                                 schema, edit->oid(), kind, edit->description()));
                                     }) / edits);
        std::printf("delete %.3f\n",
                    time([&] {
                        for (Edit *edit : all)
                            expectSuccess(ldap_schema_delete(schema, kind, edit->oid()));
                    }) / edits);
        for (Edit *edit : all)
            delete edit;
        ldap_schema_free(schema);
        std::vector<void *> pointers(static_cast<std::size_t>(types) + 1);
        const double moved = time([&] {
            for (int i = 0; i < edits; ++i) {
                std::memmove(pointers.data() + i % 2, pointers.data() + 1 - i % 2,
                             static_cast<std::size_t>(types) * sizeof(void *));
                __asm__ volatile("" ::"r"(pointers.data()) : "memory");
            }
        });
        std::printf("move %.3f\n", moved / edits);
    }
}

std::size_t inUse() {
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

void measureMemory(const bench::Subschema &server, int types) {
    LDAPSchema *warm = fetch(server);
    ldap_schema_free(warm);
    std::size_t start = inUse();
    Types records;
    parseByHand(server, records);
    const std::size_t byHand = inUse() - start - records.capacity() * sizeof records[0];
    release(records);
    Types().swap(records);
    start = inUse();
    LDAPSchema *schema = fetch(server);
    const std::size_t store = inUse() - start - byHand;
    std::size_t names = 0;
    for (int i = 0; i < types; ++i)
        names += std::max<std::size_t>(
            32, (std::strlen(typeAt(schema, i)->at_names[0]) + 1 + 8 + 15) / 16 * 16);
    std::printf("bytes %.1f\n", static_cast<double>(store - names) / types);
    std::printf("names %.1f\n", static_cast<double>(names) / types);
    ldap_schema_free(schema);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4)
        fail("schema fetch|alone|lookup|edit|memory TYPES ROUNDS");
    const std::string_view what = argv[1];
    const int types = std::atoi(argv[2]), rounds = std::atoi(argv[3]);
    const bench::Subschema server(types);
    if (what == "fetch")
        measureFetch(server, rounds);
    else if (what == "alone")
        fetchAlone(server, rounds);
    else if (what == "lookup")
        measureLookups(server, rounds);
    else if (what == "edit")
        measureEdits(server, types, rounds);
    else if (what == "memory")
        measureMemory(server, types);
    else
        fail("what is to be measured?");
}
