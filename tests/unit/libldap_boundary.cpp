// libldap's side of a search for missing memory.
//
// Without memory libldap 2.5 fails assertions of its own (a request that does not join its tree
// of requests, a message that it cannot copy to parse it) or keeps blocks, whatever its caller
// does. So a call into it counts as one allocation, which makes the whole call fail as libldap
// fails then, and what it allocates inside is spared.
#include "support/failing_memory.h"

#include <dlfcn.h>
#include <ldap.h>

// In no installed header.
extern "C" ber_int_t ldap_send_initial_request(LDAP *ld, ber_tag_t type, const char *dn,
                                               BerElement *request, ber_int_t id);

namespace {

namespace failing_memory = qldapx_test::failing_memory;

template <class Function>
Function libldaps(Function, const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Looked up before any test, because dlsym releases what an earlier one left.
const auto extendedOperation = libldaps(ldap_extended_operation_s, "ldap_extended_operation_s");
const auto startExtendedOperation = libldaps(ldap_extended_operation, "ldap_extended_operation");
const auto sendInitialRequest = libldaps(ldap_send_initial_request, "ldap_send_initial_request");
const auto searchExt = libldaps(ldap_search_ext, "ldap_search_ext");
const auto awaitResult = libldaps(ldap_result, "ldap_result");
const auto parseResult = libldaps(ldap_parse_result, "ldap_parse_result");

template <class Function, class... Arguments>
int spared(Function function, Arguments... arguments) {
    failing_memory::Pause pause;
    return function(arguments...);
}

} // namespace

extern "C" {

int ldap_extended_operation_s(LDAP *ld, const char *oid, berval *value, LDAPControl **server,
                              LDAPControl **client, char **responseOid, berval **responseValue) {
    if (failing_memory::failsNow())
        return LDAP_NO_MEMORY;
    return spared(extendedOperation, ld, oid, value, server, client, responseOid, responseValue);
}

int ldap_extended_operation(LDAP *ld, const char *oid, berval *value, LDAPControl **server,
                            LDAPControl **client, int *msgid) {
    if (failing_memory::failsNow())
        return LDAP_NO_MEMORY;
    return spared(startExtendedOperation, ld, oid, value, server, client, msgid);
}

ber_int_t ldap_send_initial_request(LDAP *ld, ber_tag_t type, const char *dn, BerElement *request,
                                    ber_int_t id) {
    if (failing_memory::failsNow()) {
        ber_free(request, 1);
        const int noMemory = LDAP_NO_MEMORY;
        ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &noMemory);
        return -1;
    }
    return spared(sendInitialRequest, ld, type, dn, request, id);
}

int ldap_search_ext(LDAP *ld, const char *base, int scope, const char *filter, char **attributes,
                    int attrsonly, LDAPControl **server, LDAPControl **client, timeval *timeout,
                    int sizelimit, int *msgid) {
    if (failing_memory::failsNow())
        return LDAP_NO_MEMORY;
    return spared(searchExt, ld, base, scope, filter, attributes, attrsonly, server, client,
                  timeout, sizelimit, msgid);
}

int ldap_result(LDAP *ld, int msgid, int all, timeval *timeout, LDAPMessage **result) {
    if (failing_memory::failsNow()) {
        const int noMemory = LDAP_NO_MEMORY;
        ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &noMemory);
        return -1;
    }
    return spared(awaitResult, ld, msgid, all, timeout, result);
}

int ldap_parse_result(LDAP *ld, LDAPMessage *message, int *code, char **matched, char **text,
                      char ***referrals, LDAPControl ***controls, int freeit) {
    if (failing_memory::failsNow())
        return LDAP_NO_MEMORY;
    return spared(parseResult, ld, message, code, matched, text, referrals, controls, freeit);
}
}
