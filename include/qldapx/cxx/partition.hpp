/** partition.hpp - partitions (naming contexts) of the directory tree. */
#ifndef QLDAPX_CXX_PARTITION_HPP
#define QLDAPX_CXX_PARTITION_HPP

#include <qldapx/cxx/session.hpp>

/**
 * Synchronous extended operations (RFC 4511, 4.12), of the session's thread. Their errors have the
 * server's code, message and matched DN, or a code of libldap's; LDAP_NOT_SUPPORTED means that the
 * server's success named another operation or none. Flags are the server's and sent unchanged.
 */
namespace qldapx::partition {

/** Makes the entry dn the root of a partition of its own. */
inline result<void> split(session_ref at, cstring dn, int flags = 0) noexcept {
    return detail::checked(at.get(), ldap_split_partition(at.get(), detail::only_read(dn), flags));
}

/** Joins the partition whose root is dn to the one above it. */
inline result<void> merge(session_ref at, cstring dn, int flags = 0) noexcept {
    return detail::checked(at.get(), ldap_merge_partitions(at.get(), detail::only_read(dn), flags));
}

/** Gives up an unfinished operation on the partition whose root is dn. */
inline result<void> abort_operation(session_ref at, cstring dn, int flags = 0) noexcept {
    return detail::checked(at.get(),
                           ldap_abort_partition_operation(at.get(), detail::only_read(dn), flags));
}

/**
 * How many entries the partition holds whose root is dn. Also LDAP_OPERATIONS_ERROR for an answer
 * without a value, LDAP_ENCODING_ERROR for one that is no INTEGER of 32 bits.
 */
[[nodiscard]] inline result<int> entry_count(session_ref at, cstring dn) noexcept {
    int count = 0;
    const int code = ldap_partition_entry_count(at.get(), detail::only_read(dn), &count);
    return detail::checked(at.get(), code, count);
}

/**
 * Splits a partition that has lost its connection to the tree. The DNs are the two that the server
 * expects, in its order.
 */
inline result<void> split_orphan(session_ref at, cstring first_dn, cstring second_dn) noexcept {
    return detail::checked(at.get(),
                           ldap_split_orphan_partition(at.get(), detail::only_read(first_dn),
                                                       detail::only_read(second_dn)));
}

/** Removes a partition that has lost its connection to the tree. DNs as with split_orphan. */
inline result<void> remove_orphan(session_ref at, cstring first_dn, cstring second_dn) noexcept {
    return detail::checked(at.get(),
                           ldap_remove_orphan_partition(at.get(), detail::only_read(first_dn),
                                                        detail::only_read(second_dn)));
}

} // namespace qldapx::partition

#endif
