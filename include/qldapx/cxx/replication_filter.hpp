/**
 * replication_filter.hpp - a server's replication filter: which attributes of which object classes
 * it replicates.
 */
#ifndef QLDAPX_CXX_REPLICATION_FILTER_HPP
#define QLDAPX_CXX_REPLICATION_FILTER_HPP

#include <qldapx/cxx/session.hpp>

/**
 * Synchronous extended operations (RFC 4511, 4.12), with errors as those of partitions. A filter's
 * text is a run of groups and a closing "$"; a group is the class and "$", each attribute and "$",
 * and one more "$".
 */
namespace qldapx::replication_filter {

/** Replaces the filter of a server. LDAP_PARAM_ERROR, with nothing sent, when a "$" is missing. */
inline result<void> set(session_ref at, cstring server_dn, cstring filter) noexcept {
    return detail::checked(at.get(),
                           ldap_set_replication_filter(at.get(), detail::only_read(server_dn),
                                                       detail::only_read(filter)));
}

/**
 * Reads the filter of a server. Also LDAP_OPERATIONS_ERROR for an answer without a value and
 * LDAP_DECODING_ERROR for one that is no filter.
 */
[[nodiscard]] inline result<text> get(session_ref at, cstring server_dn) noexcept {
    char *filter = nullptr;
    const int code = ldap_get_replication_filter(at.get(), detail::only_read(server_dn), &filter);
    return detail::checked(at.get(), code, text(adopt, filter));
}

} // namespace qldapx::replication_filter

#endif
