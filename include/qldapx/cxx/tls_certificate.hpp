/** tls_certificate.hpp - the certificate that a verification callback is asked about. */
#ifndef QLDAPX_CXX_TLS_CERTIFICATE_HPP
#define QLDAPX_CXX_TLS_CERTIFICATE_HPP

#include <qldapx/cxx/tls.hpp>

namespace qldapx::tls {

/** When a certificate is valid, in the times that it holds. */
using validity = ::LdapSslValidity;

/** How a certificate is given out: format::pem or format::der. */
enum class encoding { pem = QLDAPX_TLS_CERT_PEM, der = QLDAPX_TLS_CERT_DER };

/**
 * A server's certificate within a verification callback: made of its argument, and of use only
 * there. Functions give LDAP_LOCAL_ERROR where there is no certificate. Their strings are of the
 * standard library.
 */
class offered_certificate : public handle<x509_store_ctx_st> {
  public:
    using handle::handle;
    explicit offered_certificate(x509_store_ctx_st *of) noexcept : handle(borrow, of) {}

    /** What is wrong: OpenSSL's X509_V_ERR_... */
    [[nodiscard]] result<int> fault() const noexcept {
        int32_t code = 0;
        if (!read(QLDAPX_TLS_CERT_VERIFY_ERROR, &code, sizeof code))
            return unexpected(LDAP_LOCAL_ERROR);
        return code;
    }
    /** Whom it is for, such as "/DC=com/CN=x". */
    [[nodiscard]] result<std::string> subject() const { return name(QLDAPX_TLS_CERT_SUBJECT); }
    /** Who issued it. */
    [[nodiscard]] result<std::string> issuer() const { return name(QLDAPX_TLS_CERT_ISSUER); }
    /** When it is valid. */
    [[nodiscard]] result<tls::validity> validity() const noexcept {
        tls::validity times = {};
        if (!read(QLDAPX_TLS_CERT_VALIDITY, &times, sizeof times))
            return unexpected(LDAP_LOCAL_ERROR);
        return times;
    }
    /** The certificate itself. */
    [[nodiscard]] result<std::string> encoded(encoding as) const {
        berval bytes = {0, nullptr};
        if (ldapssl_get_cert(raw_, static_cast<int>(as), &bytes) != 0)
            return unexpected(LDAP_LOCAL_ERROR);
        std::string text(bytes.bv_len, '\0');
        bytes.bv_val = text.data();
        if (ldapssl_get_cert(raw_, static_cast<int>(as), &bytes) != 0)
            return unexpected(LDAP_LOCAL_ERROR);
        text.resize(bytes.bv_len);
        return text;
    }

  private:
    bool read(int attribute, void *buffer, int length) const noexcept {
        return ldapssl_get_cert_attribute(raw_, attribute, buffer, &length) == 0;
    }
    [[nodiscard]] result<std::string> name(int attribute) const {
        int length = 0;
        if (ldapssl_get_cert_attribute(raw_, attribute, nullptr, &length) != 0)
            return unexpected(LDAP_LOCAL_ERROR);
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        int room = length + 1;
        if (ldapssl_get_cert_attribute(raw_, attribute, text.data(), &room) != 0)
            return unexpected(LDAP_LOCAL_ERROR);
        text.resize(static_cast<std::size_t>(length));
        return text;
    }
};

} // namespace qldapx::tls

#endif
