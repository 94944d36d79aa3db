// A schema that was fetched and is edited as the bytes say.
#include "answered_session.h"
#include "schema_reading.h"
#include "schema_samples.h"
#include "support/ldap_message.h"
#include "targets.h"
#include "update.h"

#include <qldapx/schema_element.h>

#include <memory>
#include <strings.h>

namespace qldapx_fuzz {

namespace {

constexpr unsigned kindCount = 8;

constexpr const char *keywords[] = {"OID",          "RULEID",     "NAME",
                                    "DESC",         "OBSOLETE",   "SUP",
                                    "EQUALITY",     "ORDERING",   "SUBSTR",
                                    "SYNTAX",       "USAGE",      "SINGLE-VALUE",
                                    "COLLECTIVE",   "MUST",       "NO-USER-MODIFICATION",
                                    "MAY",          "STRUCTURAL", "AUXILIARY",
                                    "APPLIES",      "OC",         "FORM",
                                    "AUX",          "NOT",        "X-ORIGIN",
                                    "dSAOperation", "ABSTRACT",   "userApplications"};
constexpr const char *texts[] = {"a",   "cn",   "CN",  "1",     "2.5.4.3",      "2.5.6.0",
                                 "top", "1.2",  "1.3", "usage", "dSAOperation", "rule",
                                 "one", "it's", "2",   ""};

template <std::size_t count>
std::string oneOf(const char *const (&choices)[count], Source &source) {
    const unsigned choice = source.byte();
    return choice < 2 * count ? choices[choice % count] : source.text().value_or("");
}

bool isKeyword(const std::string &keyword) {
    return strcasecmp(keyword.c_str(), "OID") == 0 || strcasecmp(keyword.c_str(), "RULEID") == 0;
}

// A list of strings, or NULL.
class Strings {
  public:
    explicit Strings(Source &source) : isThere_(source.byte() % 8 != 7) {
        for (unsigned left = isThere_ ? source.byte() % 4 : 0; left > 0; --left)
            strings_.push_back(oneOf(texts, source));
        for (std::string &string : strings_)
            pointers_.push_back(string.data());
        pointers_.push_back(nullptr);
    }
    Strings(const Strings &) = delete;
    Strings &operator=(const Strings &) = delete;

    [[nodiscard]] char **list() { return isThere_ ? pointers_.data() : nullptr; }

  private:
    bool isThere_;
    std::deque<std::string> strings_;
    std::vector<char *> pointers_;
};

int operation(Source &source) {
    return static_cast<int>(source.byte() % 4); // LDAP_MOD_ADD, _DELETE, _REPLACE, and none
}

// Once the key was changed, a failure ends the process, as the contract has it: a key is changed
// alone.
class Fields {
  public:
    explicit Fields(Source &source) {
        bool changesKey = false;
        for (unsigned left = source.byte() % 6; left > 0 && !changesKey; --left) {
            keywords_.push_back(oneOf(keywords, source));
            values_.emplace_back(source);
            mods_.push_back({operation(source), keywords_.back().data(), {values_.back().list()}});
            changesKey = isKeyword(keywords_.back());
        }
        for (LDAPMod &mod : mods_)
            if (!changesKey || &mod == &mods_.back())
                list_.push_back(&mod);
        list_.push_back(nullptr);
    }
    // With the key where it is, for additions.
    Fields(Source &source, const char *keyword) : Fields(source) {
        keywords_.emplace_back(keyword);
        values_.emplace_back(source);
        mods_.push_back({LDAP_MOD_ADD, keywords_.back().data(), {values_.back().list()}});
        list_.back() = &mods_.back();
        list_.push_back(nullptr);
    }
    Fields(const Fields &) = delete;
    Fields &operator=(const Fields &) = delete;

    [[nodiscard]] LDAPMod **list() { return list_.data(); }
    [[nodiscard]] bool changesKey() const {
        return !keywords_.empty() && isKeyword(keywords_.back());
    }

  private:
    std::deque<std::string> keywords_;
    std::deque<Strings> values_;
    std::deque<LDAPMod> mods_;
    std::vector<LDAPMod *> list_;
};

struct SchemaRelease {
    void operator()(LDAPSchema *schema) const { ldap_schema_free(schema); }
};
using SchemaPtr = std::unique_ptr<LDAPSchema, SchemaRelease>;

const char *keyKeyword(unsigned kind) {
    return kind == LDAP_SCHEMA_DIT_STRUCTURE_RULE ? "RULEID" : "OID";
}

bool hasKey(LDAPSchemaElement *element) {
    char **values = nullptr;
    if (ldap_schema_get_field_values(element, keyKeyword(element->kind), &values) != LDAP_SUCCESS)
        return false;
    ldapx_memfree(values[0]);
    ldapx_memfree(values);
    return true;
}

void add(LDAPSchema *schema, unsigned kind, Source &source) {
    Fields fields(source, keyKeyword(kind));
    ldap_schema_add(schema, kind, fields.list());
}

// A rule id that is changed leaves the order as it was until a rule is added.
void modify(LDAPSchema *schema, unsigned kind, Source &source) {
    const std::string key = oneOf(texts, source);
    Fields fields(source);
    LDAPSchemaElement *element = nullptr;
    if (ldap_schema_get_by_name(schema, key.c_str(), kind, &element) != LDAP_SUCCESS ||
        !hasKey(element))
        return;
    ldap_schema_modify(schema, key.c_str(), kind, fields.list());
    if (kind == LDAP_SCHEMA_DIT_STRUCTURE_RULE && fields.changesKey()) {
        Source none("");
        add(schema, kind, none);
    }
}

void releaseCopy(LDAPSchemaElement *element) {
    static void (*const releases[kindCount])(void *) = {
        [](void *record) { ldap_attributetype_free(static_cast<LDAPAttributeType *>(record)); },
        [](void *record) { ldap_objectclass_free(static_cast<LDAPObjectClass *>(record)); },
        [](void *record) { ldap_syntax_free(static_cast<LDAPSyntax *>(record)); },
        [](void *record) { ldap_matchingrule_free(static_cast<LDAPMatchingRule *>(record)); },
        [](void *record) { ldap_matchingruleuse_free(static_cast<LDAPMatchingRuleUse *>(record)); },
        [](void *record) { ldap_nameform_free(static_cast<LDAPNameForm *>(record)); },
        [](void *record) { ldap_contentrule_free(static_cast<LDAPContentRule *>(record)); },
        [](void *record) {
            ldap_ditstructurerule_free(static_cast<LDAPDITStructureRule *>(record));
        },
    };
    if (element->record != nullptr)
        releases[element->kind](element->record);
    free(element);
}

void modifyCopy(LDAPSchemaElement *element, Source &source) {
    LDAPSchemaElement *copy = nullptr;
    if (dup_element(element, &copy) != LDAP_SUCCESS)
        return;
    for (unsigned left = copy->record != nullptr ? source.byte() % 8 : 0; left > 0; --left) {
        const std::string keyword = oneOf(keywords, source);
        Strings values(source);
        modify_element(copy, keyword.c_str(), values.list(), operation(source));
        static_cast<void>(isWritable(copy));
    }
    releaseCopy(copy);
}

void copyAny(LDAPSchema *schema, unsigned kind, Source &source) {
    LDAPSchemaElement *element = nullptr;
    const int count = ldap_schema_get_count(schema, kind);
    const int index = static_cast<int>(source.byte()) - 1; // now and then none
    int result = ldap_schema_get_by_index(schema, index, kind, &element);
    require((result == LDAP_SUCCESS) == (index >= 0 && index < count),
            "another number of elements");
    if (result == LDAP_SUCCESS)
        modifyCopy(element, source);
}

void changeValues(Source &source) {
    char *value = nullptr, **values = nullptr;
    for (unsigned left = source.byte() % 8; left > 0; --left) {
        Strings strings(source);
        const int how = operation(source);
        new_value(&value, strings.list(), how);
        new_values(&values, strings.list(), how);
    }
    ber_memfree(value);
    ber_memvfree(reinterpret_cast<void **>(values));
}

void note(LDAPSchema *schema, unsigned kind, Source &source) {
    char type[] = "attributeTypes";
    Strings values(source);
    LDAPMod change{operation(source), type, {values.list()}};
    LDAPSchemaElement *element = nullptr;
    if (values.list() != nullptr)
        add_change(schema, &change);
    if (ldap_schema_get_by_index(schema, 0, kind, &element) == LDAP_SUCCESS)
        store_update(schema, element, source.coin() ? LDAP_MOD_ADD : LDAP_MOD_DELETE);
    if (source.coin())
        free_changes(schema);
}

void save(LDAPSchema *schema) {
    AnsweredSession session({modifyResponse()});
    int result = ldap_schema_save(session.get(), schema, "cn=schema");
    require(result == LDAP_SUCCESS || result == LDAP_ENCODING_ERROR, "an unexpected result");
}

void edit(LDAPSchema *schema, Source &source) {
    const unsigned choice = source.byte(), kind = source.byte() % (kindCount + 1);
    switch (choice % 9) {
    case 0:
    case 1:
        return add(schema, kind, source);
    case 2:
    case 3:
        return modify(schema, kind, source);
    case 4:
        ldap_schema_delete(schema, kind, oneOf(texts, source).c_str());
        return;
    case 5:
        remove_element(schema, oneOf(texts, source).c_str(), kind);
        return;
    case 6:
        return copyAny(schema, kind, source);
    case 7:
        return changeValues(source);
    default:
        return choice < 128 ? note(schema, kind, source) : save(schema);
    }
}

} // namespace

void runSchemaEdits(const Target & /*target*/, const Bytes &bytes) {
    static const Bytes entry = sampleSchema();
    prepareSessions();
    HeapWatch watch(bytes.size() + entry.size());
    AnsweredSession session({entry, qldapx_test::searchDone(0)});
    LDAPSchema *schema = nullptr;
    require(ldap_schema_fetch(session.get(), &schema, "cn=schema") == LDAP_SUCCESS, "no schema");
    SchemaPtr owner(schema);
    for (Source source(bytes); !source.isEmpty();)
        edit(schema, source);
    readAll(schema);
}

} // namespace qldapx_fuzz
