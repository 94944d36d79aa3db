#include "qldapx/url.h"

#include "core/handle.h"
#include "core/session.h"

#include <cctype>
#include <cstring>

namespace {

using qldapx::Out;
using qldapx::storedResult;
using qldapx::storeResult;
using qldapx::UrlDescriptionPtr;

// libldap reads a bad percent escape, or that of a NUL, as the end of its part of the URL: the
// search would be another one, such as that of the root DSE. RFC 3986, 2.1 wants two digits.
bool escapesAreSound(const char *text) {
    while ((text = std::strchr(text, '%')) != nullptr) {
        if (std::isxdigit(static_cast<unsigned char>(text[1])) == 0 ||
            std::isxdigit(static_cast<unsigned char>(text[2])) == 0 ||
            std::strncmp(text, "%00", 3) == 0)
            return false;
        text += 3;
    }
    return true;
}

// Sends the search that the URL describes; *msgid is set on LDAP_SUCCESS.
int sendSearch(LDAP *ld, const char *text, int attrsonly, int *msgid) {
    UrlDescriptionPtr url;
    if (text == nullptr || !escapesAreSound(text))
        return LDAP_PARAM_ERROR;
    int parsed = ldap_url_parse(text, Out(url));
    if (parsed != LDAP_URL_SUCCESS)
        return parsed == LDAP_URL_ERR_MEM ? LDAP_NO_MEMORY : LDAP_PARAM_ERROR;
    // RFC 4516, 2: a URL with a critical extension that is not honoured must not be followed.
    if (url->lud_crit_exts > 0)
        return LDAP_NOT_SUPPORTED;
    return ldap_search_ext(ld, url->lud_dn, url->lud_scope, url->lud_filter, url->lud_attrs,
                           attrsonly, nullptr, nullptr, nullptr, LDAP_NO_LIMIT, msgid);
}

// The result code of a wait for an answer that did not come. A notice of disconnection (RFC 4511,
// 4.4.1) ends it with the notice's own result, which may be any: success, and a time-out, behind
// which libldap must not abandon, for it counts the connection as one less in use then.
int noAnswer(LDAP *ld, int msgid, int waited) {
    if (waited == 0) {
        ldap_abandon_ext(ld, msgid, nullptr, nullptr);
        return storeResult(ld, LDAP_TIMEOUT);
    }
    const int result = storedResult(ld);
    return storeResult(ld, result == LDAP_SUCCESS ? LDAP_SERVER_DOWN : result);
}

} // namespace

extern "C" {

int ldap_url_search(LDAP *ld, const char *url, int attrsonly) {
    int msgid = -1;
    int result = sendSearch(ld, url, attrsonly, &msgid);
    if (result == LDAP_SUCCESS)
        return msgid;
    storeResult(ld, result);
    return -1;
}

int ldap_url_search_st(LDAP *ld, const char *url, int attrsonly, timeval *timeout,
                       LDAPMessage **res) {
    *res = nullptr;
    int msgid = ldap_url_search(ld, url, attrsonly);
    if (msgid == -1)
        return storedResult(ld);
    int type = ldap_result(ld, msgid, LDAP_MSG_ALL, timeout, res);
    if (type <= 0)
        return noAnswer(ld, msgid, type);
    int result = LDAP_LOCAL_ERROR;
    int parsed = ldap_parse_result(ld, *res, &result, nullptr, nullptr, nullptr, nullptr, 0);
    return parsed == LDAP_SUCCESS ? result : parsed;
}

int ldap_url_search_s(LDAP *ld, const char *url, int attrsonly, LDAPMessage **res) {
    return ldap_url_search_st(ld, url, attrsonly, nullptr, res);
}
}
