/** session.hpp - sessions with a server, and what a program needs around them. */
#ifndef QLDAPX_CXX_SESSION_HPP
#define QLDAPX_CXX_SESSION_HPP

#include <chrono>
#include <cstring>
#include <optional>
#include <qldapx/cxx/message.hpp>
#include <sys/time.h>

namespace qldapx {

namespace detail {

inline timeval time_of(std::chrono::microseconds duration) noexcept {
    const auto whole = std::chrono::floor<std::chrono::seconds>(duration);
    timeval time{};
    time.tv_sec = static_cast<decltype(time.tv_sec)>(whole.count());
    time.tv_usec = static_cast<decltype(time.tv_usec)>((duration - whole).count());
    return time;
}

inline int receive(LDAP *ld, int id, const std::optional<std::chrono::microseconds> &longest,
                   int all, LDAPMessage **answer) noexcept {
    if (!longest)
        return ldap_result(ld, id, all, nullptr, answer);
    timeval time = time_of(*longest);
    return ldap_result(ld, id, all, &time, answer);
}

} // namespace detail

/**
 * A borrowed session. Functions take one by value wherever they work on a session, so that an
 * owner, and a raw LDAP * in session_ref(borrow, ld), can be given to them alike.
 *
 * A session is used by one thread at a time.
 */
class session_ref : public handle<LDAP> {
  public:
    using handle::handle;

    /**
     * Binds with a DN and a password (RFC 4511, 4.2). An empty password would make it an
     * unauthenticated bind (RFC 4513, 5.1.2), which proves nothing although servers answer it with
     * success: it is LDAP_PARAM_ERROR here, unless the DN is empty, too.
     */
    result<void> bind_simple(cstring dn, std::string_view password) const noexcept {
        if (password.empty() && !dn.empty())
            return unexpected(LDAP_PARAM_ERROR);
        berval credentials = {password.size(), const_cast<char *>(password.data())};
        return detail::checked(raw_, ldap_sasl_bind_s(raw_, dn.c_str(), LDAP_SASL_SIMPLE,
                                                      &credentials, nullptr, nullptr, nullptr));
    }

    /** How long an answer may take (LDAP_OPT_TIMEOUT), from the next operation on. */
    result<void> set_timeout(std::chrono::microseconds longest) const noexcept {
        return set_time(LDAP_OPT_TIMEOUT, longest);
    }
    /** How long a connection may take to come about (LDAP_OPT_NETWORK_TIMEOUT). */
    result<void> set_network_timeout(std::chrono::microseconds longest) const noexcept {
        return set_time(LDAP_OPT_NETWORK_TIMEOUT, longest);
    }

    /**
     * Waits for the answers to a request.
     *
     * id:      of the request; LDAP_RES_ANY: of any.
     * longest: nothing: the session's time-out, and without one for ever; zero: looks only.
     * all:     LDAP_MSG_ONE: one message; LDAP_MSG_ALL: the chain of all, when it is whole.
     *
     * LDAP_TIMEOUT when the time is over; otherwise why the connection ended.
     */
    [[nodiscard]] result<message> wait(int id,
                                       std::optional<std::chrono::microseconds> longest = {},
                                       int all = LDAP_MSG_ONE) const noexcept {
        LDAPMessage *answer = nullptr;
        const int type = detail::receive(raw_, id, longest, all, &answer);
        if (type > 0)
            return message(adopt, answer);
        return unexpected(failure_to_receive(type));
    }
    /** Why ldap_result gave no message, but 0 or -1. */
    [[nodiscard]] error failure_to_receive(int type) const noexcept {
        if (type == 0)
            return error(LDAP_TIMEOUT);
        const int code = result_code(); // which is no success, whatever the session remembers
        return error::of_session(raw_, code == LDAP_SUCCESS ? LDAP_LOCAL_ERROR : code);
    }

    /** Tells the server that no more answers to a request are wanted (RFC 4511, 4.11). */
    result<void> abandon(int id) const noexcept {
        LDAPControl *none = nullptr; // those of the session belong to its requests
        return detail::checked(raw_, ldap_abandon_ext(raw_, id, &none, nullptr));
    }

    /** The result code that the session remembers of its last operation. */
    [[nodiscard]] int result_code() const noexcept {
        int code = LDAP_SUCCESS;
        ldap_get_option(raw_, LDAP_OPT_RESULT_CODE, &code);
        return code;
    }
    /** The URIs that it was made for; LDAP_NO_MEMORY if there is none for a copy. */
    [[nodiscard]] result<ldap_text> uri() const noexcept {
        char *text = nullptr;
        ldap_get_option(raw_, LDAP_OPT_URI, &text);
        if (text == nullptr)
            return unexpected(LDAP_NO_MEMORY);
        return ldap_text(adopt, text);
    }

    /**
     * Makes request controls go with every operation from now on, instead of those before
     * (LDAP_OPT_SERVER_CONTROLS). They are copied.
     *
     * controls: ended by null; nullptr: none.
     */
    result<void> set_controls(LDAPControl *const *controls) const noexcept {
        const int code = ldap_set_option(raw_, LDAP_OPT_SERVER_CONTROLS, controls);
        return detail::checked(code == LDAP_OPT_SUCCESS ? LDAP_SUCCESS : LDAP_NO_MEMORY);
    }

  private:
    result<void> set_time(int option, std::chrono::microseconds longest) const noexcept {
        const timeval time = detail::time_of(longest);
        const int code = ldap_set_option(raw_, option, &time);
        return detail::checked(code == LDAP_OPT_SUCCESS ? LDAP_SUCCESS : LDAP_NO_MEMORY);
    }
};

namespace detail {
struct unbind {
    // The session's controls are not the unbind's.
    void operator()(LDAP *ld) const noexcept {
        LDAPControl *none = nullptr;
        ldap_unbind_ext_s(ld, &none, nullptr);
    }
};
} // namespace detail

/** A session, unbound at its end. */
class session : public owner<session_ref, detail::unbind> {
  public:
    using owner::owner;
};

/**
 * Makes a session that speaks LDAP v3. It connects with its first operation.
 *
 * uri: such as ldap://HOST:PORT; several with blanks between are tried in turn; nullptr: what
 *      libldap's own configuration names.
 *
 * LDAP_PARAM_ERROR for what is no such URI; LDAP_NO_MEMORY.
 */
[[nodiscard]] inline result<session> initialize(optional_cstring uri = {}) noexcept {
    LDAP *ld = nullptr;
    const int code = ldap_initialize(&ld, uri.c_str());
    if (code != LDAP_SUCCESS)
        return unexpected(code);
    const int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    return session(adopt, ld);
}

/** Ends a session now (RFC 4511, 4.3), and says whether that could be sent. */
inline result<void> unbind(session ended) noexcept {
    LDAPControl *none = nullptr;
    return detail::checked(ldap_unbind_ext_s(ended.release(), &none, nullptr));
}

} // namespace qldapx

#endif
