/** digest.hpp - SASL binds with the mechanism DIGEST-MD5 (RFC 2831, RFC 4513). */
#ifndef QLDAPX_CXX_DIGEST_HPP
#define QLDAPX_CXX_DIGEST_HPP

#include <qldapx/cxx/session.hpp>

/** See digest_md5.h for what the mechanism is worth, and for the codes of a bad challenge. */
namespace qldapx::digest {

/**
 * A bind that the server has sent its challenge for. One that is not finished is abandoned at its
 * end, for which libldap connects anew where the connection has gone; release() gives that up, and
 * loses the memory. The session must live as long.
 */
class exchange {
  public:
    /** Owns what ldap_bind_digest_md5_start gave. */
    exchange(adopt_t, session_ref at, void *context) noexcept : session_(at), context_(context) {}
    exchange(exchange &&other) noexcept : session_(other.session_), context_(other.release()) {}
    exchange &operator=(exchange &&other) noexcept {
        if (this != &other) {
            static_cast<void>(abandon());
            session_ = other.session_;
            context_ = other.release();
        }
        return *this;
    }
    ~exchange() { static_cast<void>(abandon()); }

    /** For C functions; null when the bind is over. */
    [[nodiscard]] void *get() const noexcept { return context_; }
    /** Gives the bind up without a word to the server. */
    void *release() noexcept { return std::exchange(context_, nullptr); }

    /** The realms that the server offers, the last one first: the bind's. LDAP_NO_MEMORY. */
    [[nodiscard]] result<text_list_ref> realms() const noexcept {
        char **list = nullptr;
        const int code = ldap_get_digest_md5_realms(context_, &list);
        return detail::checked(code, text_list_ref(borrow, list));
    }

    /**
     * Answers the challenge and checks the server's own proof.
     *
     * user:     UTF-8, without quotes and backslashes.
     * password: hashed as it stands; RFC 2831 wants ISO 8859-1 where that has all its characters.
     * realm:    its place in realms().
     *
     * LDAP_INVALID_CREDENTIALS: wrong user or password, or the server's proof is missing or wrong;
     * LDAP_PROTOCOL_ERROR: the proof is no list of directives; LDAP_PARAM_ERROR: no such realm, or
     * an answer of more than 4096 bytes; 100: too little entropy. The bind is over, unless the wait
     * for the server failed.
     */
    result<void> finish(cstring user, std::string_view password, int realm = 0) noexcept {
        const int code = ldap_bind_digest_md5_finish(&context_, user.c_str(), password.data(),
                                                     static_cast<int>(password.size()), realm,
                                                     QLDAPX_DIGEST_COMPLETE);
        return detail::checked(session_.get(), code);
    }
    /** Gives the bind up, and tells the server. LDAP_PARAM_ERROR when it is over. */
    result<void> abandon() noexcept {
        if (context_ == nullptr)
            return unexpected(LDAP_PARAM_ERROR);
        const int code =
            ldap_bind_digest_md5_finish(&context_, nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON);
        return detail::checked(session_.get(), code == LDAP_USER_CANCELLED ? LDAP_SUCCESS : code);
    }

  private:
    session_ref session_;
    void *context_;
};

/**
 * Asks the server for its challenge. LDAP_PROTOCOL_ERROR, QLDAPX_DIGEST_...: what is wrong with it;
 * else the server's code, LDAP_AUTH_METHOD_NOT_SUPPORTED where it does not know the mechanism.
 */
[[nodiscard]] inline result<exchange> start(session_ref at) noexcept {
    void *context = nullptr;
    const int code = ldap_bind_digest_md5_start(at.get(), &context);
    return detail::checked(at.get(), code, exchange(adopt, at, context));
}

} // namespace qldapx::digest

#endif
