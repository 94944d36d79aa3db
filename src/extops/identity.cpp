#include "qldapx/identity.h"

#include "core/alias.h"
#include "core/exchange.h"

#include <cstring>

namespace {

using qldapx::BervalPtr;
using qldapx::Decoder;
using qldapx::Exchange;
using qldapx::HeapPtr;
using qldapx::malformedResponse;
using qldapx::Operation;

constexpr Operation koraToLdap{"2.16.840.1.907341.1.27.100.1", "2.16.840.1.907341.1.27.100.2"};
constexpr Operation bindDn{"2.16.840.1.907341.1.27.100.31", "2.16.840.1.907341.1.27.100.32"};
constexpr Operation privilegesOfOne{"2.16.840.1.907341.1.27.100.33",
                                    "2.16.840.1.907341.1.27.100.34"};
constexpr Operation dnsToDn{"2.16.840.1.907341.1.27.100.101", "2.16.840.1.907341.1.27.100.102"};
constexpr Operation privilegesOfList{"2.16.840.1.907341.1.27.100.103",
                                     "2.16.840.1.907341.1.27.100.104"};

// The callers' buffers for an identity: 771 bytes still pass whole, more are cut to 770.
constexpr ber_len_t longestWholeIdentity = 771;
constexpr ber_len_t cutIdentity = 770;

ber_len_t identityLength(ber_len_t length) {
    return length > longestWholeIdentity ? cutIdentity : length;
}

ber_len_t wholeLength(ber_len_t length) {
    return length;
}

// Reads a response that is one OCTET STRING, handed out as a NUL-terminated copy from the C
// allocator.
int readString(Decoder &value, char **out, ber_len_t (*copied)(ber_len_t) = wholeLength) {
    BervalPtr text;
    if (!value.octets(text))
        return malformedResponse;
    // Stored before it is tested: no memory leaves NULL with the caller.
    *out = static_cast<char *>(std::malloc(text->bv_len + 1));
    if (*out == nullptr)
        return LDAP_NO_MEMORY;
    ber_len_t length = copied(text->bv_len);
    std::memcpy(*out, text->bv_val, length);
    (*out)[length] = '\0';
    return LDAP_SUCCESS;
}

// Response: SEQUENCE { SEQUENCE { count INTEGER }, SET OF SEQUENCE { privileges INTEGER } }
int readPrivileges(Decoder &value, int *privileges, int capacity, int *written) {
    int count = 0;
    if (!value.enter(LBER_SEQUENCE) || !value.enter(LBER_SEQUENCE) || !value.integer(&count) ||
        !value.enter(LBER_SET) || count > capacity)
        return malformedResponse;
    for (int index = 0; index < count; ++index) {
        privileges[index] = 0;
        *written = index + 1;
        int bits = 0;
        if (!value.enter(LBER_SEQUENCE) || !value.integer(&bits))
            return malformedResponse;
        privileges[index] = bits;
    }
    return LDAP_SUCCESS;
}

int queryPrivileges(LDAP *ld, const char *dn, const char *trusteeDN, char **attrList,
                    int *privileges, int capacity, int *written) {
    if (dn == nullptr || trusteeDN == nullptr || attrList == nullptr || privileges == nullptr)
        return LDAP_PARAM_ERROR;
    Exchange exchange(ld);
    return exchange.response(
        exchange.call(privilegesOfList, "ss{v}", dn, trusteeDN, attrList),
        [&](Decoder &value) { return readPrivileges(value, privileges, capacity, written); });
}

// UTF-16 in big-endian order with the terminating zero unit, in *size bytes; NULL: no memory.
HeapPtr bigEndianName(const unsigned short *name, ber_len_t *size) {
    ber_len_t units = 1;
    while (name[units - 1] != 0)
        ++units;
    *size = 2 * units;
    HeapPtr bytes(static_cast<char *>(std::malloc(*size)));
    if (bytes == nullptr)
        return bytes;
    for (ber_len_t unit = 0; unit < units; ++unit) {
        bytes.get()[2 * unit] = static_cast<char>(name[unit] >> 8);
        bytes.get()[2 * unit + 1] = static_cast<char>(name[unit] & 0xff);
    }
    return bytes;
}

int encodeKoraName(BerElement *encoder, const unsigned short *koraName) {
    ber_len_t size = 0;
    HeapPtr bytes = bigEndianName(koraName, &size);
    if (bytes == nullptr)
        return LDAP_NO_MEMORY;
    return ber_printf(encoder, "o", bytes.get(), size) == -1 ? LDAP_ENCODING_ERROR : LDAP_SUCCESS;
}

} // namespace

extern "C" {

int ldap_get_bind_dn(LDAP *ld, char **identity) {
    Exchange exchange(ld);
    return exchange.response(exchange.call(bindDn), [identity](Decoder &value) {
        return readString(value, identity, identityLength);
    });
}

QLDAPX_ALIAS(ldap_get_bind_dn)
int ldap_get_context_identity_name(LDAP *ld, char **identity);

// Request: dn, trusteeDN, attrName OCTET STRINGs. Response: privileges INTEGER.
int ldap_get_effective_privileges(LDAP *ld, char *dn, char *trusteeDN, char *attrName,
                                  int *privileges) {
    Exchange exchange(ld);
    return exchange.response(exchange.call(privilegesOfOne, "sss", dn, trusteeDN, attrName),
                             qldapx::integerInto(privileges));
}

// Request: dn, trusteeDN OCTET STRINGs, attributes SEQUENCE OF OCTET STRING. The caller gives no
// capacity: as many slots are written as the server states.
int ldap_get_effective_privileges_list(LDAP *ld, char *dn, char *trusteeDN, char **attrList,
                                       int *privileges) {
    constexpr int unbounded = 0x7fffffff;
    int written = 0;
    return queryPrivileges(ld, dn, trusteeDN, attrList, privileges, unbounded, &written);
}

int ldapx_get_effective_privileges_list(LDAP *ld, char *dn, char *trusteeDN, char **attrList,
                                        int *privileges, int capacity, int *count) {
    if (count == nullptr || capacity < 0)
        return LDAP_PARAM_ERROR;
    *count = 0;
    return queryPrivileges(ld, dn, trusteeDN, attrList, privileges, capacity, count);
}

// Request: the name as one OCTET STRING. Response: the DN as one OCTET STRING.
int ldap_kora_to_ldap(LDAP *ld, const unsigned short *koraName, char **ldapName) {
    Exchange exchange(ld);
    BerElement *encoder = exchange.newEncoder();
    if (encoder == nullptr)
        return LDAP_NO_MEMORY;
    int encoded = encodeKoraName(encoder, koraName);
    return exchange.response(encoded == LDAP_SUCCESS ? exchange.send(koraToLdap) : encoded,
                             [ldapName](Decoder &value) { return readString(value, ldapName); });
}

int ldap_dns_to_x500_dn(LDAP *ld, char *dnsName, char **x500DN) {
    Exchange exchange(ld);
    return exchange.response(exchange.call(dnsToDn, "s", dnsName),
                             [x500DN](Decoder &value) { return readString(value, x500DN); });
}
}
