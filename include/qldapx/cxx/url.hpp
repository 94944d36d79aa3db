/** url.hpp - searches described by an LDAP URL (RFC 4516). */
#ifndef QLDAPX_CXX_URL_HPP
#define QLDAPX_CXX_URL_HPP

#include <qldapx/cxx/session.hpp>

/**
 * The search goes over the session that is given, whatever host the URL names. Besides the search's
 * own: LDAP_PARAM_ERROR for what is no LDAP URL, LDAP_NOT_SUPPORTED for one with a critical
 * extension.
 */
namespace qldapx::url {

/** What a search asks for of each attribute. */
enum class want { values = 0, types_only = 1 };

/** The answer to a search: entries may have come although it failed at the end. */
struct answer {
    result<void> outcome;
    message messages;
};

/** Starts a search, and gives its id for session_ref::wait. */
[[nodiscard]] inline result<int> start(session_ref at, cstring url,
                                       want wanted = want::values) noexcept {
    const int id = ldap_url_search(at.get(), url.c_str(), static_cast<int>(wanted));
    if (id != -1)
        return id;
    return unexpected(error::of_session(at.get(), at.result_code()));
}

/**
 * Searches and waits for the end.
 *
 * longest: nothing: as long as the session's time-out allows. When it is over the search is
 *          abandoned, and the outcome is LDAP_TIMEOUT.
 */
[[nodiscard]] inline answer search(session_ref at, cstring url, want wanted = want::values,
                                   std::optional<std::chrono::microseconds> longest = {}) noexcept {
    LDAPMessage *messages = nullptr;
    timeval time = detail::time_of(longest.value_or(std::chrono::microseconds(0)));
    const int code = ldap_url_search_st(at.get(), url.c_str(), static_cast<int>(wanted),
                                        longest ? &time : nullptr, &messages);
    return {detail::checked(at.get(), code), message(adopt, messages)};
}

} // namespace qldapx::url

#endif
