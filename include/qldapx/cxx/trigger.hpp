/** trigger.hpp - starts one of the server's background processes at once, or refreshes it. */
#ifndef QLDAPX_CXX_TRIGGER_HPP
#define QLDAPX_CXX_TRIGGER_HPP

#include <qldapx/cxx/session.hpp>

/**
 * Synchronous extended operations (RFC 4511, 4.12), with errors as those of partitions. The server
 * answers when it has taken the order, not when the work is done.
 */
namespace qldapx::trigger {

/** A background process of the server's. */
enum class process {
    backlink = LDAP_BACK_PROCESS_BACKLINK,
    janitor = LDAP_BACK_PROCESS_JANITOR,
    limber = LDAP_BACK_PROCESS_LIMBER,
    skulker = LDAP_BACK_PROCESS_SKULKER,
    schema_sync = LDAP_BACK_PROCESS_SCHEMA_SYNC,
    partition_purge = LDAP_BACK_PROCESS_PARTITION_PURGE
};

/**
 * Starts a background process.
 *
 * dn: what limber is to work on; the others ignore it.
 *
 * LDAP_PARAM_ERROR, with nothing sent, for a process that is none of them.
 */
inline result<void> start(session_ref at, process which, optional_cstring dn = {}) noexcept {
    return detail::checked(at.get(), ldap_trigger_back_process(at.get(), static_cast<int>(which),
                                                               detail::only_read(dn)));
}

/** Tells the server to refresh itself. */
inline result<void> refresh_server(session_ref at) noexcept {
    return detail::checked(at.get(), ldap_refresh_server(at.get()));
}

} // namespace qldapx::trigger

#endif
