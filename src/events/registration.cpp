#include "events/registration.h"

#include "core/handle.h"
#include "core/session.h"

// Exported by OpenLDAP 2.5's libldap, but in no installed header. Weak: where they are missing they
// are NULL.
extern "C" {
struct ldapreq;
__attribute__((weak)) ber_int_t ldap_send_initial_request(LDAP *ld, ber_tag_t msgtype,
                                                          const char *dn, BerElement *ber,
                                                          ber_int_t msgid);
__attribute__((weak)) ldapreq *ldap_find_request_by_msgid(LDAP *ld, ber_int_t msgid);
__attribute__((weak)) void ldap_return_request(LDAP *ld, ldapreq *request, int freeit);
}

namespace {

using namespace qldapx;

// An end that takes all that is written to it for sent.
ber_slen_t swallow(Sockbuf_IO_Desc * /*descriptor*/, void * /*bytes*/, ber_len_t length) {
    return static_cast<ber_slen_t>(length);
}

int ignore(Sockbuf_IO_Desc * /*descriptor*/) {
    return 0;
}

int noControl(Sockbuf_IO_Desc * /*descriptor*/, int /*option*/, void * /*argument*/) {
    return 0;
}

Sockbuf_IO swallower = {nullptr, ignore, noControl, nullptr, swallow, ignore};

using SockbufPtr = std::unique_ptr<Sockbuf, Releaser<ber_sockbuf_free>>;

bool isConnected(LDAP *ld) {
    int descriptor = -1;
    return ldap_get_option(ld, LDAP_OPT_DESC, &descriptor) == LDAP_OPT_SUCCESS && descriptor != -1;
}

// A second request of one id ends the process in libldap.
bool isOutstanding(LDAP *ld, int msgid) {
    ldapreq *request = ldap_find_request_by_msgid(ld, msgid);
    if (request == nullptr)
        return false;
    ldap_return_request(ld, request, 0);
    return true;
}

// A whole request, for libldap reads it, all of whose bytes count as written, so that libldap finds
// nothing to send.
BerElementPtr writtenRequest(int msgid) {
    BerElementPtr request(ber_alloc_t(LBER_USE_DER));
    SockbufPtr sink(ber_sockbuf_alloc());
    if (request == nullptr || sink == nullptr ||
        ber_sockbuf_add_io(sink.get(), &swallower, LBER_SBIOD_LEVEL_PROVIDER, nullptr) != 0 ||
        ber_printf(request.get(), "{it{ts}}", msgid, LDAP_REQ_EXTENDED, LDAP_TAG_EXOP_REQ_OID,
                   "2.16.840.1.907341.1.27.100.79") == -1 ||
        ber_flush2(sink.get(), request.get(), LBER_FLUSH_FREE_NEVER) != 0)
        return nullptr;
    return request;
}

} // namespace

namespace qldapx::events {

int keepOpen(LDAP *ld, int msgid) {
    bool isPossible = ldap_send_initial_request != nullptr &&
                      ldap_find_request_by_msgid != nullptr && ldap_return_request != nullptr;
    if (!isPossible || msgid <= 0 || !isConnected(ld) || isOutstanding(ld, msgid))
        return LDAP_SUCCESS;
    BerElementPtr request = writtenRequest(msgid);
    if (request == nullptr)
        return LDAP_NO_MEMORY;
    // Takes the request whatever the result.
    if (ldap_send_initial_request(ld, LDAP_REQ_EXTENDED, nullptr, request.release(), msgid) ==
        msgid)
        return LDAP_SUCCESS;
    int result = storedResult(ld);
    return result == LDAP_SERVER_DOWN ? LDAP_SUCCESS : result;
}

} // namespace qldapx::events
