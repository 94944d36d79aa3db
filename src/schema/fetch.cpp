// fetch.cpp - the subschema subentry (RFC 4512, 4.2) found and read into a store.
#include "core/handle.h"
#include "schema/store.h"

#include <cstdlib>
#include <cstring>

namespace qldapx::schema {
namespace {

using CopiesPtr = std::unique_ptr<berval *, Releaser<ldap_value_free_len>>;
using ValuesPtr = std::unique_ptr<berval, Releaser<ber_memfree>>;
using SchemaPtr = std::unique_ptr<LDAPSchema, Releaser<std::free>>;

constexpr char anyEntry[] = "(objectclass=*)";

// A notice of disconnection (RFC 4511, 4.4.1) that says success ends libldap's search with it, and
// without a message.
int searchEntry(LDAP *ld, const char *dn, const char *const *attributes, int sizeLimit,
                MessagePtr &result) {
    const int searched =
        ldap_search_ext_s(ld, dn, LDAP_SCOPE_BASE, anyEntry, const_cast<char **>(attributes), 0,
                          nullptr, nullptr, nullptr, sizeLimit, Out(result));
    return searched == LDAP_SUCCESS && result == nullptr ? LDAP_SERVER_DOWN : searched;
}

int readDn(LDAP *ld, LDAPMessage *result, char **dn) {
    LDAPMessage *entry = ldap_first_entry(ld, result);
    if (entry == nullptr)
        return LDAP_NO_RESULTS_RETURNED;
    BorrowingElementPtr cursor;
    const LdapStringPtr attribute(ldap_first_attribute(ld, entry, Out(cursor)));
    if (attribute == nullptr)
        return LDAP_NO_RESULTS_RETURNED;
    const CopiesPtr values(ldap_get_values_len(ld, entry, attribute.get()));
    if (values == nullptr || *values.get() == nullptr)
        return LDAP_NO_RESULTS_RETURNED;
    *dn = strdup((*values.get())->bv_val);
    return *dn == nullptr ? LDAP_NO_MEMORY : LDAP_SUCCESS;
}

int kindOf(const char *attribute) {
    for (unsigned kind = 0; kind < kindCount; ++kind)
        if (std::strcmp(attribute, kinds[kind].attribute) == 0)
            return static_cast<int>(kind);
    return -1;
}

// The lists of one kind while they are read.
class KindReader {
  public:
    KindReader(LDAPSchema &schema, unsigned kind) : schema_(schema), kind_(kind) {}

    int readValues(const berval *values);
    void sort() { qldapx::schema::sort(schema_, kind_, keys_, names_); }

  private:
    int readValue(const char *text);

    LDAPSchema &schema_;
    unsigned kind_;
    Ranking keys_{Ranking::Case::Matters};
    Ranking names_{Ranking::Case::Ignored};
};

int parseElement(LDAPSchema &schema, const char *text, unsigned kind) {
    ElementPtr element = newElement(kind);
    if (element == nullptr)
        return LDAP_NO_MEMORY;
    const Parsed parsed = parseDescription(kind, text);
    element->record = parsed.record;
    if (parsed.code == LDAP_SCHERR_OUTOFMEM)
        return LDAP_NO_MEMORY;
    if (parsed.code != 0 || parsed.record == nullptr)
        return LDAP_LOCAL_ERROR;
    return append(schema, element);
}

// Servers are known to have attribute types and classes that do not parse; the others must.
bool mayFail(unsigned kind) {
    return kind == LDAP_SCHEMA_ATTRIBUTE_TYPE || kind == LDAP_SCHEMA_OBJECT_CLASS;
}

int KindReader::readValue(const char *text) {
    const int firstElement = schema_.elementCount[kind_];
    const int firstName = schema_.nameCount[kind_];
    const int result = parseElement(schema_, text, kind_);
    for (int i = firstElement; i < schema_.elementCount[kind_]; ++i)
        if (const char *key = keyOf(*schema_.elements[kind_][i]))
            keys_.add(key, schema_.elements[kind_][i]);
    for (int i = firstName; i < schema_.nameCount[kind_]; ++i)
        names_.add(schema_.names[kind_][i].name, schema_.names[kind_][i].element);
    return result;
}

int KindReader::readValues(const berval *values) {
    int count = 0;
    while (values[count].bv_val != nullptr)
        ++count;
    if (!makeRoom(schema_, kind_, count, count))
        return LDAP_NO_MEMORY;
    keys_.reserve(static_cast<std::size_t>(count));
    names_.reserve(static_cast<std::size_t>(count));
    for (const berval *value = values; value->bv_val != nullptr; ++value) {
        const int result = readValue(value->bv_val);
        if (result != LDAP_SUCCESS && !mayFail(kind_))
            return result;
    }
    return LDAP_SUCCESS;
}

// The values are read where they lie in the message, which saves a copy of each.
int readEntry(LDAP *ld, LDAPMessage *entry, KindReader (&readers)[kindCount]) {
    BorrowingElementPtr cursor;
    berval name = {};
    if (ldap_get_dn_ber(ld, entry, Out(cursor), &name) != LDAP_SUCCESS)
        return LDAP_SUCCESS;
    for (;;) {
        berval *values = nullptr;
        const int found = ldap_get_attribute_ber(ld, entry, cursor.get(), &name, &values);
        const ValuesPtr owner(values);
        if (found != LDAP_SUCCESS || name.bv_val == nullptr)
            return LDAP_SUCCESS;
        const int kind = values == nullptr ? -1 : kindOf(name.bv_val);
        if (kind < 0)
            continue;
        const int result = readers[kind].readValues(values);
        if (result != LDAP_SUCCESS)
            return result;
    }
}

int searchSchema(LDAP *ld, const char *dn, MessagePtr &result) {
    static const char *const attributes[] = {
        "attributeTypes",  "objectClasses",     "ldapSyntaxes", "matchingRules", "matchingRuleUse",
        "dITContentRules", "dITStructureRules", "nameForms",    nullptr};
    if (dn != nullptr)
        return searchEntry(ld, dn, attributes, -1, result);
    HeapPtr found;
    const int located = get_schema_dn(ld, Out(found));
    if (located != LDAP_SUCCESS)
        return located;
    return searchEntry(ld, found.get(), attributes, -1, result);
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx;
using namespace qldapx::schema;

QLDAPX_API int get_schema_dn(LDAP *ld, char **dn) {
    static const char *const attributes[] = {"subschemaSubentry", nullptr};
    *dn = nullptr;
    MessagePtr result;
    const int searched = searchEntry(ld, "", attributes, 0, result);
    if (searched != LDAP_SUCCESS)
        return searched;
    return readDn(ld, result.get(), dn);
}

QLDAPX_API int ldap_schema_fetch(LDAP *ld, LDAPSchema **schema, const char *dn) {
    SchemaPtr handle(static_cast<LDAPSchema *>(std::calloc(1, sizeof(LDAPSchema))));
    *schema = handle.get();
    if (handle == nullptr)
        return LDAP_NO_MEMORY;
    MessagePtr result;
    const int searched = searchSchema(ld, dn, result);
    if (searched != LDAP_SUCCESS)
        return searched;
    // From here on a failure leaves the handle, not valid, with what was read: callers are used to
    // find it behind the pointer.
    LDAPSchema &store = *handle.release();
    KindReader readers[kindCount] = {{store, 0}, {store, 1}, {store, 2}, {store, 3},
                                     {store, 4}, {store, 5}, {store, 6}, {store, 7}};
    LDAPMessage *entry = ldap_first_entry(ld, result.get());
    const int read = entry == nullptr ? LDAP_SUCCESS : readEntry(ld, entry, readers);
    if (read != LDAP_SUCCESS)
        return read;
    for (KindReader &reader : readers)
        reader.sort();
    store.mark = validMark;
    return LDAP_SUCCESS;
}
