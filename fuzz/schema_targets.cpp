// What comes from a server's schema: the entry, and a description that the library reads itself.
#include "answered_session.h"
#include "heap_watch.h"
#include "peered_session.h"
#include "schema_reading.h"
#include "support/expected_leak.h"
#include "support/ldap_message.h"
#include "targets.h"

#include <cstring>
#include <memory>
#include <string_view>

namespace qldapx_fuzz {

namespace {

bool equal(const char *a, const char *b) {
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

bool equal(char **a, char **b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    for (; *a != nullptr && *b != nullptr; ++a, ++b)
        if (!equal(*a, *b))
            return false;
    return *a == *b;
}

bool equal(LDAPSchemaExtensionItem **a, LDAPSchemaExtensionItem **b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    for (; *a != nullptr && *b != nullptr; ++a, ++b)
        if (!equal((*a)->lsei_name, (*b)->lsei_name) ||
            !equal((*a)->lsei_values, (*b)->lsei_values))
            return false;
    return *a == *b;
}

bool equal(const LDAPDITStructureRule &a, const LDAPDITStructureRule &b) {
    return equal(a.sr_ruleid, b.sr_ruleid) && equal(a.sr_names, b.sr_names) &&
           equal(a.sr_desc, b.sr_desc) && a.sr_obsolete == b.sr_obsolete &&
           equal(a.sr_nameform, b.sr_nameform) && equal(a.sr_sup_ruleids, b.sr_sup_ruleids) &&
           equal(a.sr_extensions, b.sr_extensions);
}

struct RuleRelease {
    void operator()(LDAPDITStructureRule *rule) const { ldap_ditstructurerule_free(rule); }
};
using RulePtr = std::unique_ptr<LDAPDITStructureRule, RuleRelease>;

RulePtr readRule(const Bytes &text, unsigned flags) {
    int code = -1;
    const char *where = nullptr;
    RulePtr rule(ldap_str2ditstructurerule(text.c_str(), &code, &where, flags));
    require((rule == nullptr) == (code != 0), "a rule and a code do not agree");
    require(rule != nullptr || (where >= text.c_str() && where <= text.c_str() + text.size()),
            "the place of the fault is not in the text");
    return rule;
}

// Words that stood in quotes are printed without them and may be no words then. Without a rule id,
// FORM would be the first word, and taken for an id that is none.
void requireSameAgain(const LDAPDITStructureRule &rule, const Bytes &printed, unsigned flags) {
    RulePtr again = readRule(printed, flags | LDAP_SCHEMA_ALLOW_QUOTED);
    if ((flags & LDAP_SCHEMA_ALLOW_QUOTED) != 0 ||
        (rule.sr_ruleid == nullptr && rule.sr_names == nullptr))
        return;
    require(again != nullptr, "what is printed does not read");
    require(equal(rule, *again), "what is printed reads otherwise");
}

using ElementPtr = std::unique_ptr<BerElement, decltype([](BerElement *ber) { ber_free(ber, 0); })>;
using ValuesPtr = std::unique_ptr<berval, decltype([](berval *values) { ber_memfree(values); })>;

// As the library has them read.
constexpr unsigned lenient = LDAP_SCHEMA_ALLOW_NO_OID | LDAP_SCHEMA_ALLOW_QUOTED |
                             LDAP_SCHEMA_ALLOW_DESCR | LDAP_SCHEMA_ALLOW_DESCR_PREFIX;

// libldap's parsers lose the name of an extension whose values they cannot read.
bool losesExtension(std::string_view attribute, const char *text) {
    int code = 0;
    const char *where = nullptr;
    bool isRead = true;
    if (attribute == "attributeTypes") {
        LDAPAttributeType *type = ldap_str2attributetype(text, &code, &where, lenient);
        isRead = type != nullptr; // without a code, now and then
        if (isRead)
            ldap_attributetype_free(type);
    } else if (attribute == "objectClasses") {
        LDAPObjectClass *entryClass = ldap_str2objectclass(text, &code, &where, lenient);
        isRead = entryClass != nullptr;
        if (isRead)
            ldap_objectclass_free(entryClass);
    }
    return (!isRead || code != 0) && strcasestr(text, "X-") != nullptr;
}

bool losesExtension(LDAP *ld, LDAPMessage *entry) {
    BerElement *cursor = nullptr;
    berval name{}, *values = nullptr;
    if (entry == nullptr || ldap_get_dn_ber(ld, entry, &cursor, &name) != LDAP_SUCCESS)
        return false;
    const ElementPtr owner(cursor);
    while (ldap_get_attribute_ber(ld, entry, cursor, &name, &values) == LDAP_SUCCESS &&
           name.bv_val != nullptr) {
        const ValuesPtr list(values);
        for (berval *value = values; value != nullptr && value->bv_val != nullptr; ++value)
            if (losesExtension(name.bv_val, value->bv_val))
                return true;
    }
    return false;
}

bool losesExtension(const Bytes &entry) {
    const Unwatched pause;
    const qldapx_test::ExpectedLeak leak;
    AnsweredSession session({entry, qldapx_test::searchDone(0)});
    if (session.get() == nullptr)
        return false;
    LDAPMessage *found = nullptr;
    ldap_search_ext_s(session.get(), "cn=schema", LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr,
                      nullptr, nullptr, LDAP_NO_LIMIT, &found);
    const MessagePtr owner(found);
    return found != nullptr &&
           losesExtension(session.get(), ldap_first_entry(session.get(), found));
}

// The result of the fetch.
int fetchAndRead(const Bytes &entry) {
    AnsweredSession session({entry, qldapx_test::searchDone(0)});
    if (session.get() == nullptr)
        return LDAP_SUCCESS;
    LDAPSchema *schema = nullptr;
    int result = ldap_schema_fetch(session.get(), &schema, "cn=schema");
    if (result == LDAP_SUCCESS) {
        readAll(schema);
        require(ldap_schema_free(schema) == LDAP_SUCCESS, "a schema is not released");
    }
    return result;
}

} // namespace

void runStructureRule(const Target & /*target*/, const Bytes &bytes) {
    const Bytes text = bytes.c_str();
    HeapWatch watch(text.size());
    for (unsigned flags = 0; flags <= LDAP_SCHEMA_ALLOW_ALL; ++flags) {
        RulePtr rule = readRule(text, flags);
        if (rule == nullptr)
            continue;
        char *printed = ldap_ditstructurerule2str(rule.get());
        require(printed != nullptr, "a rule is not printed");
        requireSameAgain(*rule, printed, flags);
        ldap_memfree(printed);
    }
}

void runSchemaEntry(const Target & /*target*/, const Bytes &bytes) {
    prepareSessions();
    const bool isLost = losesExtension(bytes);
    HeapWatch watch(bytes.size());
    // What was read before a description that does not parse is lost, as is a message that libldap
    // refuses.
    if (fetchAndRead(bytes) < LDAP_SUCCESS || isLost)
        watch.releaseAll();
}

} // namespace qldapx_fuzz
