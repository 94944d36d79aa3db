/** error.hpp - why something failed. */
#ifndef QLDAPX_CXX_ERROR_HPP
#define QLDAPX_CXX_ERROR_HPP

#include <qldapx/cxx/memory.hpp>

namespace qldapx {

/**
 * Why a call failed: the result code, and what the server said with it. Codes are those of the C
 * interface: a positive one is the server's (RFC 4511, appendix A) or one of DIGEST-MD5, a negative
 * one libldap's. Can be moved, not copied.
 */
class error {
  public:
    /** A failure that no server has said anything about. */
    explicit error(int code) noexcept : code_(code) {}
    /** A failure with these texts; either may be empty. */
    error(int code, ldap_text message, ldap_text matched_dn = {}) noexcept
        : code_(code), message_(std::move(message)), matched_dn_(std::move(matched_dn)) {}

    /**
     * What a call that gave this code left with its session: the server's diagnostic message and
     * matched DN, if the code is the one that the session remembers. A refusal of the library's own
     * after a success of the server's, or before anything was sent, has no texts: those of the
     * session are an earlier operation's then.
     */
    [[gnu::cold, gnu::noinline]] static error of_session(LDAP *ld, int code) noexcept {
        int remembered = LDAP_SUCCESS;
        ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &remembered);
        if (remembered != code || !has_words(code))
            return error(code);
        return error(code, option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE),
                     option(ld, LDAP_OPT_MATCHED_DN));
    }

    /** The LDAP result code; not LDAP_SUCCESS. */
    [[nodiscard]] int code() const noexcept { return code_; }
    /** libldap's name for the code, in words. */
    [[nodiscard]] cstring name() const noexcept { return ldap_err2string(code_); }
    /** The server's diagnostic message, or libldap's words on a connection; may be empty. */
    [[nodiscard]] cstring message() const noexcept { return message_; }
    /** The part of a DN that exists (RFC 4511, 4.1.9); may be empty. */
    [[nodiscard]] cstring matched_dn() const noexcept { return matched_dn_; }

  private:
    static ldap_text option(LDAP *ld, int which) noexcept {
        char *value = nullptr;
        ldap_get_option(ld, which, &value);
        return ldap_text(adopt, value);
    }
    // A server's code, or one that libldap explains; the others are decided without a server, and
    // the library stores some of them in the session without clearing an earlier text there.
    static bool has_words(int code) noexcept {
        return code > 0 || code == LDAP_SERVER_DOWN || code == LDAP_CONNECT_ERROR ||
               code == LDAP_LOCAL_ERROR;
    }

    int code_;
    ldap_text message_, matched_dn_;
};

} // namespace qldapx

#endif
