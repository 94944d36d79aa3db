// The administrative operations, each as its row of the tests has it.
#include "hostile/call.h"

#include "extops/operations.h"

#include <cstring>

namespace hostile {

namespace {

using qldapx_test::OperationCase;
using qldapx_test::Outputs;

bool isOf(const OperationCase &row, const char *name) {
    return std::strcmp(row.name, name) == 0;
}

// What libldap stored goes first; behind an answer that it could read there are the operation's own
// findings.
void requireResult(const OperationCase &row, const Call &call, int result) {
    const int stored = call.stored();
    if (stored != LDAP_SUCCESS)
        require(result == stored, "Another result than libldap's.");
    else if (row.decodes())
        requireOneOf({LDAP_SUCCESS, LDAP_NOT_SUPPORTED, LDAP_OPERATIONS_ERROR, row.malformed},
                     result);
    else
        requireOneOf({LDAP_SUCCESS, LDAP_NOT_SUPPORTED}, result);
}

// A record may be filled in part, and the text of a filter that does not decode is NULL.
void requireUntouched(const OperationCase &row, const std::string &output, int result) {
    const bool isNull = row.malformed == LDAP_DECODING_ERROR && result == LDAP_DECODING_ERROR &&
                        output == "text=NULL";
    require(output.empty() || isNull || isOf(row, "ldap_get_replica_info"),
            "An output after a failure.");
}

void requireAnswered(const OperationCase &row, const Call &call, const std::string &output) {
    require(output.empty() == !row.decodes(), "A success without output, or with one.");
    require(row.acceptsAnyOid || call.peer.sent().find(row.responseOid) != qldapx_test::Bytes::npos,
            "A success under another response OID.");
}

int run(const OperationCase &row, Call &call) {
    Outputs out;
    call.clearStored();
    const int result = row.call(call.ld, out);
    call.heedRefusal();
    requireResult(row, call, result);
    const std::string output = out.describe(result);
    if (result != LDAP_SUCCESS)
        requireUntouched(row, output, result);
    else
        requireAnswered(row, call, output);
    call.requireRight(result == LDAP_SUCCESS && output == row.output);
    return result;
}

bool writesPrivileges(const OperationCase &row) {
    return std::strstr(row.name, "privileges_list") != nullptr;
}

} // namespace

// Those that write lists of privileges have rows of their own.
void addAdministrative(std::vector<Operation> &all) {
    for (const OperationCase &row : qldapx_test::allOperations())
        if (!writesPrivileges(row))
            all.push_back({row.name, row.decodes() ? 6U : 2U, 100,
                           [&row](Call &call) { return run(row, call); }});
}

} // namespace hostile
