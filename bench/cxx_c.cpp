// The loops of cxx_instructions in C's way.
#include "cxx_loops.h"

#include "ten_attributes.h"

namespace bench::c {

int counts(LDAP *ld, int rounds) {
    char dn[] = "ou=people,dc=example,dc=com";
    int sum = 0;
    while (rounds-- > 0) {
        int count = 0;
        if (ldap_partition_entry_count(ld, dn, &count) != LDAP_SUCCESS)
            return -1;
        sum += count;
    }
    return sum;
}

namespace {

bool takeAnswer(LDAP *ld, int id) {
    LDAPMessage *message = nullptr;
    EventSpecification *events = nullptr;
    int code = 0, count = 0;
    const bool isTaken =
        ldap_result(ld, id, LDAP_MSG_ONE, nullptr, &message) == LDAP_RES_EXTENDED &&
        ldap_parse_monitor_events_response(ld, message, &code, nullptr, &count, &events, 1) ==
            LDAP_SUCCESS &&
        code == LDAP_SUCCESS;
    ldapx_memfree(events);
    return isTaken;
}

int numberOf(const void *record) {
    if (record == nullptr)
        return 0;
    switch (ldapx_event_kind(record)) {
    case 97:
        return static_cast<const EntryEventData *>(record)->number1;
    case 121:
        return static_cast<const ExtOpEventData *>(record)->number1;
    default:
        return 0;
    }
}

} // namespace

int events(LDAP *ld, int rounds) {
    EventSpecification wanted = {7, 0};
    int id = 0, sum = 0;
    if (ldap_monitor_events(ld, 1, &wanted, &id) != LDAP_SUCCESS || !takeAnswer(ld, id))
        return -1;
    while (rounds-- > 0) {
        LDAPMessage *message = nullptr;
        int type = 0, result = 0;
        void *record = nullptr, *address = nullptr;
        if (ldap_result(ld, id, LDAP_MSG_ONE, nullptr, &message) != LDAP_RES_INTERMEDIATE ||
            ldap_parse_ds_event_IP(ld, message, &type, &result, &record, 1, &address) !=
                LDAP_SUCCESS)
            return -1;
        sum += type + numberOf(record);
        ldap_event_free(record);
        ldap_event_free(address);
    }
    return sum;
}

int elements(LDAP *ld, int rounds) {
    LDAPSchema *schema = nullptr;
    int sum = 0;
    if (ldap_schema_fetch(ld, &schema, "cn=schema") != LDAP_SUCCESS)
        return -1;
    while (rounds-- > 0) {
        const int count = ldap_schema_get_count(schema, LDAP_SCHEMA_ATTRIBUTE_TYPE);
        for (int i = 0; i < count; ++i) {
            LDAPSchemaElement *element = nullptr;
            ldap_schema_get_by_index(schema, i, LDAP_SCHEMA_ATTRIBUTE_TYPE, &element);
            sum += static_cast<const LDAPAttributeType *>(element->record)->at_oid[0];
        }
    }
    ldap_schema_free(schema);
    return sum;
}

int adds(LDAP *, int rounds) {
    TenAttributes attributes;
    char dn[] = "uid=anna,ou=people,dc=example,dc=com";
    BerElement *ber = ber_alloc_t(0);
    while (rounds-- > 0)
        if (LBURPEncodeAdd(nullptr, dn, attributes.list(), nullptr, ber) != LDAP_SUCCESS)
            return -1;
    ber_free(ber, 1);
    return 0;
}

int builtAdds(LDAP *, int rounds) {
    char dn[] = "uid=anna,ou=people,dc=example,dc=com";
    BerElement *ber = ber_alloc_t(0);
    while (rounds-- > 0) {
        LDAPMod attributes[10];
        char *values[10][2];
        LDAPMod *list[11];
        for (int i = 0; i < 10; ++i) {
            values[i][0] = const_cast<char *>(tenTexts[i][1]);
            values[i][1] = nullptr;
            attributes[i].mod_op = LDAP_MOD_ADD;
            attributes[i].mod_type = const_cast<char *>(tenTexts[i][0]);
            attributes[i].mod_values = values[i];
            list[i] = &attributes[i];
        }
        list[10] = nullptr;
        if (LBURPEncodeAdd(nullptr, dn, list, nullptr, ber) != LDAP_SUCCESS)
            return -1;
    }
    ber_free(ber, 1);
    return 0;
}

} // namespace bench::c
