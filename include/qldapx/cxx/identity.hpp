/**
 * identity.hpp - who a session is bound as, what a trustee may do, and names converted to DNs.
 */
#ifndef QLDAPX_CXX_IDENTITY_HPP
#define QLDAPX_CXX_IDENTITY_HPP

#include <qldapx/cxx/session.hpp>

/**
 * Synchronous extended operations (RFC 4511, 4.12), with errors as those of partitions. Also
 * LDAP_OPERATIONS_ERROR for an answer without a value and LDAP_ENCODING_ERROR for one that does not
 * decode.
 */
namespace qldapx::identity {

/** As whom the server takes the session: a DN of at most 771 bytes; empty: anonymous. */
[[nodiscard]] inline result<text> bind_dn(session_ref at) noexcept {
    char *dn = nullptr;
    const int code = ldap_get_bind_dn(at.get(), &dn);
    return detail::checked(at.get(), code, text(adopt, code == LDAP_SUCCESS ? dn : nullptr));
}

/** What a trustee may do with one attribute of an entry: bits of the server's. */
[[nodiscard]] inline result<int>
effective_privileges(session_ref at, cstring dn, cstring trustee_dn, cstring attribute) noexcept {
    int privileges = 0;
    const int code = ldap_get_effective_privileges(at.get(), detail::only_read(dn),
                                                   detail::only_read(trustee_dn),
                                                   detail::only_read(attribute), &privileges);
    return detail::checked(at.get(), code, privileges);
}

/**
 * What a trustee may do with several attributes of an entry.
 *
 * attributes: their names, ended by null; only read.
 * privileges: receives the bits of each, in this order.
 * capacity:   how many privileges can hold.
 *
 * Gives how many the server sent; LDAP_ENCODING_ERROR, with nothing written, when it sent more.
 */
[[nodiscard]] inline result<int> effective_privileges(session_ref at, cstring dn,
                                                      cstring trustee_dn,
                                                      const char *const *attributes,
                                                      int *privileges, int capacity) noexcept {
    int count = 0;
    const int code = ldapx_get_effective_privileges_list(
        at.get(), detail::only_read(dn), detail::only_read(trustee_dn),
        const_cast<char **>(attributes), privileges, capacity, &count);
    return detail::checked(at.get(), code, count);
}

/** Converts a name in the server's kora form, ended by a zero unit, to a DN. */
[[nodiscard]] inline result<text> kora_to_dn(session_ref at, const char16_t *name) noexcept {
    static_assert(sizeof(char16_t) == sizeof(unsigned short), "both are UTF-16 units");
    char *dn = nullptr;
    const int code =
        ldap_kora_to_ldap(at.get(), reinterpret_cast<const unsigned short *>(name), &dn);
    return detail::checked(at.get(), code, text(adopt, code == LDAP_SUCCESS ? dn : nullptr));
}

/** Converts a DNS name to a DN. */
[[nodiscard]] inline result<text> dns_to_dn(session_ref at, cstring name) noexcept {
    char *dn = nullptr;
    const int code = ldap_dns_to_x500_dn(at.get(), detail::only_read(name), &dn);
    return detail::checked(at.get(), code, text(adopt, code == LDAP_SUCCESS ? dn : nullptr));
}

} // namespace qldapx::identity

#endif
