// Answers to what the library asks: administrative operations, backups, searches by URL, and where
// a server's schema is. And the texts that such requests are made of.
#include "answered_session.h"
#include "contents.h"
#include "extops/operations.h"
#include "heap_watch.h"
#include "message_run.h"
#include "support/ldap_message.h"
#include "targets.h"

#include <cstring>

namespace qldapx_fuzz {

namespace {

using qldapx_test::OperationCase;
using qldapx_test::Outputs;

// SECURITY.md: a list of privileges has room for what the server states or none, and a replica's DN
// beyond the record's end ends the process.
bool isBounded(const OperationCase &operation, std::size_t size) {
    constexpr std::size_t longestDn = 770;
    const std::string_view name = operation.name;
    return name != "ldap_get_effective_privileges_list" &&
           (name != "ldap_get_replica_info" || size <= longestDn);
}

// By the first byte; NULL: none, or not with so much.
const OperationCase *operationFor(const Bytes &bytes) {
    const auto operations = qldapx_test::allOperations();
    if (bytes.empty())
        return nullptr;
    const OperationCase &chosen =
        operations[static_cast<unsigned char>(bytes[0]) % operations.size()];
    return isBounded(chosen, bytes.size()) ? &chosen : nullptr;
}

// Calls with those answers, looks at all outputs, and gives the result.
int callWith(const OperationCase &operation, const Bytes &answer) {
    AnsweredSession session({answer});
    if (session.get() == nullptr)
        return LDAP_SUCCESS;
    Outputs out;
    const int result = operation.call(session.get(), out);
    const Unwatched text;
    static_cast<void>(out.describe(result));
    return result;
}

struct HeapFree {
    void operator()(char *text) const { ldapx_memfree(text); }
};
using TextPtr = std::unique_ptr<char, HeapFree>;

constexpr char backupOid[] = "2.16.840.1.907341.1.27.100.97";
constexpr char restoreOid[] = "2.16.840.1.907341.1.27.100.99";
constexpr char filterOid[] = "2.16.840.1.907341.1.27.100.36";
char objectDn[] = "cn=x", emptyPassword[] = "";

// What was backed up can be handed back.
void restoreAll(LDAP *ld, char *data, char *sizes, int length) {
    require(data != nullptr && sizes != nullptr && length >= 0, "a backup without an output");
    require(ldap_restore_object(ld, objectDn, emptyPassword, data, sizes, length) == LDAP_SUCCESS,
            "a backup is not handed back");
}

// SEQUENCE around an extended request's value: ldapMessage { id, [23] { [0] oid, [1] value } }.
Bytes valueOf(const Bytes &request) {
    const Bytes all(Contents(request).element(LBER_SEQUENCE));
    Contents message(all);
    message.element(LBER_INTEGER);
    Contents operation(message.element(LDAP_REQ_EXTENDED));
    operation.element(LDAP_TAG_EXOP_REQ_OID);
    return Bytes(operation.element(LDAP_TAG_EXOP_REQ_VALUE));
}

int locateSchema(const Bytes &entry) {
    AnsweredSession session({entry, qldapx_test::searchDone(0)});
    if (session.get() == nullptr)
        return LDAP_SUCCESS;
    char *dn = nullptr;
    const int result = get_schema_dn(session.get(), &dn);
    require((result == LDAP_SUCCESS) == (dn != nullptr), "a result without a DN");
    ldapx_memfree(dn);
    return result;
}

} // namespace

void runExtendedValue(const Target & /*target*/, const Bytes &bytes) {
    const OperationCase *operation = operationFor(bytes);
    if (operation == nullptr)
        return;
    prepareSessions();
    HeapWatch watch(bytes.size());
    const int result = callWith(*operation, operation->responseWith(bytes.substr(1)));
    if (operation->decodes())
        requireOneOf({LDAP_SUCCESS, operation->malformed, LDAP_OPERATIONS_ERROR}, result);
    else
        require(result == LDAP_SUCCESS, "a value that nobody reads matters");
}

// libldap loses a message that it refuses.
void runExtendedAnswer(const Target & /*target*/, const Bytes &bytes) {
    const OperationCase *operation = operationFor(bytes);
    if (operation == nullptr || hasEmptyName(bytes.substr(1)))
        return;
    prepareSessions();
    HeapWatch watch(bytes.size());
    if (callWith(*operation, bytes.substr(1)) < LDAP_SUCCESS)
        watch.releaseAll();
}

void runBackupAnswer(const Target & /*target*/, const Bytes &bytes) {
    using qldapx_test::extendedResponse;
    prepareSessions();
    HeapWatch watch(bytes.size());
    AnsweredSession session(
        {extendedResponse(0, backupOid, bytes), extendedResponse(0, restoreOid, std::nullopt)},
        AnsweredSession::Answers::each);
    if (session.get() == nullptr)
        return;
    char *state = nullptr, *data = nullptr, *sizes = nullptr;
    int length = -1;
    const int result =
        ldap_backup_object(session.get(), objectDn, emptyPassword, &state, &data, &sizes, &length);
    const TextPtr stateOwner(state), dataOwner(data), sizesOwner(sizes);
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_OPERATIONS_ERROR}, result);
    require((result == LDAP_SUCCESS) == (state != nullptr), "a state without a backup");
    if (result == LDAP_SUCCESS)
        restoreAll(session.get(), data, sizes, length);
}

// A state up to the first line end, behind it the sizes of chunks, of data that are the same bytes.
// Nobody answers, which counts for less than that the answer is not there.
void runBackupTexts(const Target & /*target*/, const Bytes &bytes) {
    prepareSessions();
    const std::size_t end = std::min(bytes.find('\n'), bytes.size());
    Bytes sizes = bytes.substr(std::min(end + 1, bytes.size())), data = sizes;
    const Bytes asked = bytes.substr(0, end);
    HeapWatch watch(bytes.size());
    AnsweredSession session({});
    char *state = strdup(asked.c_str()), *unused = nullptr;
    int length = static_cast<int>(data.size());
    requireOneOf(
        {LDAP_NOT_SUPPORTED, LDAP_ENCODING_ERROR},
        ldap_restore_object(session.get(), objectDn, nullptr, data.data(), sizes.data(), length));
    requireOneOf(
        {LDAP_NOT_SUPPORTED, LDAP_ENCODING_ERROR},
        ldap_backup_object(session.get(), objectDn, nullptr, &state, &unused, &unused, &length));
    require(state != nullptr && unused == nullptr, "an output of a failure");
    ldapx_memfree(state);
}

// What is sent for a text must read as that text, up to where it ends.
void runReplicationFilter(const Target & /*target*/, const Bytes &bytes) {
    using qldapx_test::extendedResponse;
    prepareSessions();
    Bytes text = bytes.c_str();
    HeapWatch watch(bytes.size());
    AnsweredSession setter({extendedResponse(0, filterOid, std::nullopt)});
    const int set = ldap_set_replication_filter(setter.get(), objectDn, text.data());
    requireOneOf({LDAP_SUCCESS, LDAP_PARAM_ERROR}, set);
    if (set != LDAP_SUCCESS)
        return;
    const Bytes sent = valueOf(setter.takeRequests());
    Contents value(sent);
    value.octets(objectDn);
    AnsweredSession getter({extendedResponse(
        0, "1.2.3", qldapx_test::tlv(0x30, Bytes(value.element(LBER_SEQUENCE))))});
    char *read = nullptr;
    if (getter.get() == nullptr)
        return;
    require(ldap_get_replication_filter(getter.get(), objectDn, &read) == LDAP_SUCCESS,
            "a filter that was sent does not read");
    const TextPtr owner(read);
    require(std::strncmp(read, text.c_str(), std::strlen(read)) == 0, "a filter reads otherwise");
}

void runUrlSearch(const Target & /*target*/, const Bytes &bytes) {
    prepareSessions();
    const Bytes url = bytes.c_str();
    HeapWatch watch(bytes.size());
    AnsweredSession session({qldapx_test::searchDone(0)});
    LDAPMessage *found = nullptr;
    const int result = ldap_url_search_s(session.get(), url.c_str(), 0, &found);
    require((result == LDAP_SUCCESS) == (found != nullptr), "a result without its answer");
    require((result == LDAP_SUCCESS) == !session.takeRequests().empty(),
            "a search that failed was sent");
    ldap_msgfree(found);
}

// libldap loses a message that it refuses.
void runSchemaDn(const Target & /*target*/, const Bytes &bytes) {
    prepareSessions();
    HeapWatch watch(bytes.size());
    if (locateSchema(bytes) < LDAP_SUCCESS)
        watch.releaseAll();
}

} // namespace qldapx_fuzz
