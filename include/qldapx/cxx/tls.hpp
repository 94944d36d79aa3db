/** tls.hpp - LDAP over TLS: the process's client context, its trust, the client's certificate. */
#ifndef QLDAPX_CXX_TLS_HPP
#define QLDAPX_CXX_TLS_HPP

#include <qldapx/cxx/session.hpp>

/**
 * One context for the process, which every session with an "ldaps" URL uses that connects from then
 * on. The C functions do not say why they failed: the error is LDAP_LOCAL_ERROR (LDAP_PARAM_ERROR
 * for an argument), and OpenSSL's queue of errors may have more. Set the context up before threads
 * connect.
 */
namespace qldapx::tls {

/** How a certificate or a key is written down. */
enum class format { pem = 1, der = 2, pkcs12 = 5 };

/** Where a certificate or a key comes from. It borrows its path or bytes. */
class source {
  public:
    /** A file. */
    [[nodiscard]] static source file(cstring path, format as) noexcept {
        return {static_cast<int>(as), path.c_str(), {}};
    }
    /** Bytes in memory. */
    [[nodiscard]] static source memory(std::string_view bytes, format as) noexcept {
        const int type = as == format::pem   ? QLDAPX_TLS_BUFFER_PEM
                         : as == format::der ? QLDAPX_TLS_BUFFER_DER
                                             : QLDAPX_TLS_BUFFER_PKCS12;
        return {type, nullptr, {bytes.size(), const_cast<char *>(bytes.data())}};
    }

    /** For C functions: QLDAPX_TLS_FILE_... or QLDAPX_TLS_BUFFER_... */
    [[nodiscard]] int type() const noexcept { return type_; }
    /** For C functions: the path or the struct berval. */
    [[nodiscard]] const void *get() const noexcept {
        return path_ != nullptr ? static_cast<const void *>(path_) : &bytes_;
    }

  private:
    source(int type, const char *path, berval bytes) noexcept
        : type_(type), path_(path), bytes_(bytes) {}

    int type_;
    const char *path_;
    berval bytes_;
};

namespace detail {

inline result<void> done(int code) noexcept {
    if (code == 0)
        return {};
    return unexpected(code == LDAP_PARAM_ERROR ? LDAP_PARAM_ERROR : LDAP_LOCAL_ERROR);
}

struct end_client {
    void operator()(ssl_ctx_st *) const noexcept { ldapssl_client_deinit(); }
};

} // namespace detail

/** The context, borrowed: get() is OpenSSL's SSL_CTX. All functions work on the process's. */
class context_ref : public handle<ssl_ctx_st> {
  public:
    using handle::handle;

    /** Whether servers are verified; takes the callback out of use. */
    result<void> set_verification(bool verify) const noexcept {
        return detail::done(
            ldapssl_set_verify_mode(verify ? QLDAPX_TLS_VERIFY_PEER : QLDAPX_TLS_VERIFY_NONE));
    }
    [[nodiscard]] result<bool> verifies() const noexcept {
        int mode = QLDAPX_TLS_VERIFY_PEER;
        if (ldapssl_get_verify_mode(&mode) != 0)
            return unexpected(LDAP_LOCAL_ERROR);
        return mode != QLDAPX_TLS_VERIFY_NONE;
    }
    /**
     * Has an application decide about certificates that do not verify: it returns 0 to accept one
     * in spite of a fault, at which it must look (offered_certificate::fault). Null: none does.
     */
    result<void> set_verify_callback(LdapSslVerifyCallback decide) const noexcept {
        return detail::done(ldapssl_set_verify_callback(decide));
    }
    /** Adds trust anchors: PEM, one or more, or DER, one. */
    result<void> add_trusted(const source &from) const noexcept {
        return detail::done(ldapssl_add_trusted_cert(from.get(), from.type()));
    }
    /** What servers get to see that ask. password: of PKCS #12 or encrypted PEM. */
    result<void> set_client_certificate(const source &from,
                                        optional_cstring password = {}) const noexcept {
        return detail::done(ldapssl_set_client_cert(from.get(), from.type(), password.c_str()));
    }
    /** The key that belongs to the certificate, which must be set before. Not DER. */
    result<void> set_client_key(const source &from, optional_cstring password = {}) const noexcept {
        return detail::done(
            ldapssl_set_client_private_key(from.get(), from.type(), password.c_str()));
    }
};

/** The context, dropped at its end; libldap keeps what it was given. There is one at a time. */
class context : public owner<context_ref, detail::end_client> {
  public:
    using owner::owner;
};

/**
 * Makes the context, which verifies servers, and gives it to libldap.
 *
 * trust_file: CA certificates to trust, DER or PEM; nullptr, or one that cannot be opened: none.
 */
[[nodiscard]] inline result<context> start(optional_cstring trust_file = {}) noexcept {
    if (ldapssl_client_init(trust_file.c_str()) != 0)
        return unexpected(LDAP_LOCAL_ERROR);
    return context(adopt, g_CryptCtx);
}

/** How a session is reached. */
enum class security { none = 0, tls = 1 };

/**
 * Makes a session that speaks LDAP v3; it connects with its first operation.
 *
 * host: name or address.
 * port: 1 to 65535; 0: 636 with TLS, else 389.
 */
[[nodiscard]] inline result<session> open(cstring host, int port = 0,
                                          security how = security::tls) noexcept {
    LDAP *ld = ldapssl_init(host.c_str(), port, static_cast<int>(how));
    if (ld == nullptr)
        return unexpected(LDAP_LOCAL_ERROR);
    const int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    return session(adopt, ld);
}

} // namespace qldapx::tls

#endif
