// Bulk updates: start, operations, end.
#include "hostile/call.h"

#include <qldapx.h>

namespace hostile {

namespace {

constexpr int untouched = 4711;

int parseStart(Call &call, LDAPMessage *message, int *code, char **text) {
    int size = untouched;
    return ldap_parse_lburp_start_response(call.ld, message, code, text, &size, 0);
}

int parseEnd(Call &call, LDAPMessage *message, int *code, char **text) {
    return ldap_parse_lburp_end_response(call.ld, message, code, text, 0);
}

// The messages of a list that does not decode are lost.
int parseOperation(Call &call, LDAPMessage *message, int *code, char **text) {
    int count = untouched;
    LBURPOperationFailure unwritten{};
    LBURPOperationFailure *failures = &unwritten;
    const int result =
        ldap_parse_lburp_operation_response(call.ld, message, code, text, &count, &failures, 0);
    require(count >= 0 && failures != &unwritten && (count == 0 || failures != nullptr),
            "A count without failures.");
    require(result == LDAP_SUCCESS || (count == 0 && failures == nullptr),
            "Operations that failed, after a failure.");
    for (int i = 0; i < count; ++i)
        ldap_memfree(failures[i].errorMessage);
    ldapx_memfree(failures);
    call.losesMemory |= result == LDAP_DECODING_ERROR;
    return result;
}

// The result, or the server's own.
int take(Call &call, int id, int (*parse)(Call &, LDAPMessage *, int *, char **)) {
    const MessagePtr message = nextMessage(call, id);
    if (message == nullptr)
        return call.stored();
    int code = 0;
    char *text = nullptr;
    const int result = parse(call, message.get(), &code, &text);
    require(call.stored() == result, "The session remembers another result.");
    requireOneOf({LDAP_SUCCESS, LDAP_NOT_SUPPORTED, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR,
                  LDAP_NO_RESULTS_RETURNED},
                 result);
    ldap_memfree(text);
    return result != LDAP_SUCCESS ? result : code;
}

int sendBatch(const Call &call, int number, int *id) {
    char *values[] = {arg("a"), nullptr};
    LDAPMod mod{LDAP_MOD_ADD, arg("cn"), {values}};
    LDAPMod *mods[] = {&mod, nullptr};
    LBURPOperation add{LDAP_REQ_ADD, arg("cn=a,o=x"), mods, nullptr};
    LBURPOperation erase{LDAP_REQ_DELETE, arg("cn=b,o=x"), nullptr, nullptr};
    LBURPOperation *operations[] = {&add, &erase, nullptr};
    return ldap_lburp_operation_request(call.ld, number, operations, id);
}

int start(Call &call) {
    int id = 0;
    const int sent = ldap_lburp_start_request(call.ld, &id);
    return sent != LDAP_SUCCESS ? sent : take(call, id, parseStart);
}

int end(Call &call, int number) {
    int id = 0;
    const int sent = ldap_lburp_end_request(call.ld, number, &id);
    return sent != LDAP_SUCCESS ? sent : take(call, id, parseEnd);
}

// Two batches are under way at once.
int operate(Call &call) {
    int ids[2] = {};
    for (int i = 0; i < 2; ++i) {
        const int sent = sendBatch(call, i + 1, &ids[i]);
        if (sent != LDAP_SUCCESS)
            return sent;
    }
    const int first = take(call, ids[0], parseOperation);
    const int second = take(call, ids[1], parseOperation);
    return first != LDAP_SUCCESS ? first : second;
}

// Goes on after every failure: a caller may.
int run(Call &call) {
    int result = LDAP_SUCCESS;
    for (const int step : {start(call), operate(call), end(call, 2)})
        result = result == LDAP_SUCCESS ? step : result;
    call.requireRight(result == LDAP_SUCCESS);
    return result;
}

} // namespace

void addBulkUpdates(std::vector<Operation> &all) {
    all.push_back({"ldap_lburp_start ... end", 40, 40, run});
}

} // namespace hostile
