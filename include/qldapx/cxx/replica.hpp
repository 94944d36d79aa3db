/** replica.hpp - replicas of a partition: add, remove, retype, report, list, synchronise. */
#ifndef QLDAPX_CXX_REPLICA_HPP
#define QLDAPX_CXX_REPLICA_HPP

#include <qldapx/cxx/session.hpp>

/**
 * Synchronous extended operations (RFC 4511, 4.12), with errors as those of partitions. What the
 * two DNs of an operation name, the types, flags and delays are the server's and sent unchanged.
 */
namespace qldapx::replica {

/** A replica's report: the numbers and the DN in the server's order. */
using info = ::ReplicaInfo;

/** Adds a replica of this type. */
inline result<void> add(session_ref at, cstring first_dn, cstring second_dn, int type,
                        int flags = 0) noexcept {
    return detail::checked(at.get(), ldap_add_replica(at.get(), detail::only_read(first_dn),
                                                      detail::only_read(second_dn), type, flags));
}

/** Removes a replica. */
inline result<void> remove(session_ref at, cstring first_dn, cstring second_dn,
                           int flags = 0) noexcept {
    return detail::checked(at.get(), ldap_remove_replica(at.get(), detail::only_read(first_dn),
                                                         detail::only_read(second_dn), flags));
}

/** Gives a replica another type. */
inline result<void> change_type(session_ref at, cstring first_dn, cstring second_dn, int type,
                                int flags = 0) noexcept {
    return detail::checked(at.get(),
                           ldap_change_replica_type(at.get(), detail::only_read(first_dn),
                                                    detail::only_read(second_dn), type, flags));
}

/**
 * Reports on a replica. Also LDAP_OPERATIONS_ERROR for an answer without a value and
 * LDAP_ENCODING_ERROR for one that does not decode. A DN of more than 770 bytes in the answer ends
 * the process with abort(), as the C function does. An answer without a DN leaves it empty.
 */
[[nodiscard]] inline result<info> get_info(session_ref at, cstring first_dn,
                                           cstring second_dn) noexcept {
    info report;
    report.dn[0] = '\0';
    const int code = ldap_get_replica_info(at.get(), detail::only_read(first_dn),
                                           detail::only_read(second_dn), &report);
    if (code != LDAP_SUCCESS)
        return unexpected(error::of_session(at.get(), code));
    return report;
}

/**
 * Lists the replicas of the partition whose root is dn, as a range of texts. Also
 * LDAP_OPERATIONS_ERROR for an answer without a value and LDAP_ENCODING_ERROR for one that does not
 * decode.
 */
[[nodiscard]] inline result<ldap_text_list> list(session_ref at, cstring dn) noexcept {
    char **replicas = nullptr;
    const int code = ldap_list_replicas(at.get(), detail::only_read(dn), &replicas);
    if (code != LDAP_SUCCESS)
        return unexpected(error::of_session(at.get(), code));
    return ldap_text_list(adopt, replicas);
}

/**
 * Lets a replica fetch all updates anew.
 *
 * extra: a third text, which the server ignores; nullptr: "unusedParam".
 */
inline result<void> receive_all_updates(session_ref at, cstring first_dn, cstring second_dn,
                                        optional_cstring extra = {}) noexcept {
    return detail::checked(at.get(), ldap_receive_all_updates(at.get(), detail::only_read(first_dn),
                                                              detail::only_read(second_dn),
                                                              detail::only_read(extra)));
}

/** Lets a replica send all its updates anew; second_dn is sent empty for nullptr. */
inline result<void> send_all_updates(session_ref at, cstring first_dn,
                                     optional_cstring second_dn = {}) noexcept {
    return detail::checked(at.get(), ldap_send_all_updates(at.get(), detail::only_read(first_dn),
                                                           detail::only_read(second_dn)));
}

/**
 * Asks for a partition to be synchronised. The DNs are in the order of the other functions, which
 * is the opposite of the C function's.
 *
 * delay: until the start, in the server's unit.
 */
inline result<void> request_sync(session_ref at, cstring first_dn, cstring second_dn,
                                 int delay = 0) noexcept {
    return detail::checked(at.get(),
                           ldap_request_partition_sync(at.get(), detail::only_read(second_dn),
                                                       detail::only_read(first_dn), delay));
}

/**
 * Asks for the schema to be synchronised.
 *
 * dn:    what the server expects.
 * delay: until the start, in the server's unit.
 */
inline result<void> request_schema_sync(session_ref at, cstring dn, int delay = 0) noexcept {
    return detail::checked(at.get(),
                           ldap_request_schema_sync(at.get(), detail::only_read(dn), delay));
}

} // namespace qldapx::replica

#endif
