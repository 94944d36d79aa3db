// Backup images, piece by piece, and their way back.
#include "hostile/call.h"

#include <cstring>
#include <qldapx.h>

namespace hostile {

namespace {

volatile char sink;
char untouched[] = "untouched";
constexpr int untouchedLength = -4711;

void readAll(const char *bytes, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i)
        sink = bytes[i];
}

// The response OID goes before the operation's own result.
void requireResult(Call &call, int result) {
    call.heedRefusal();
    if (call.stored() != LDAP_SUCCESS)
        require(result == call.stored() || result == LDAP_NOT_SUPPORTED,
                "Another result than libldap's.");
    else
        requireOneOf({LDAP_SUCCESS, LDAP_NOT_SUPPORTED, LDAP_OPERATIONS_ERROR, LDAP_DECODING_ERROR},
                     result);
}

int takePiece(Call &call, char **state) {
    char *data = untouched, *sizes = untouched;
    int length = untouchedLength;
    call.clearStored();
    const int result =
        ldap_backup_object(call.ld, arg("o=a"), arg("secret"), state, &data, &sizes, &length);
    if (result == LDAP_ENCODING_ERROR && *state != nullptr)
        return result; // the state that the server gave has a zero
    requireResult(call, result);
    if (result != LDAP_SUCCESS) {
        require(data == untouched && sizes == untouched && length == untouchedLength,
                "An output after a failure.");
        return result;
    }
    require(length >= 0 && *state != nullptr, "A piece without a length or a state.");
    readAll(data, static_cast<std::size_t>(length));
    readAll(sizes, std::strlen(sizes));
    call.requireRight(std::strcmp(sizes, "2;3;2;") == 0 && length == 5 &&
                      std::memcmp(data, "image", 5) == 0);
    ldapx_memfree(data);
    ldapx_memfree(sizes);
    return result;
}

// Ends with the piece whose state cannot be passed back; a server may go on for ever.
int runBackup(Call &call) {
    char *state = nullptr;
    constexpr int most = 5;
    int result = LDAP_SUCCESS, pieces = 0;
    do
        result = takePiece(call, &state);
    while (result == LDAP_SUCCESS && ++pieces < most && std::strcmp(state, "0+0") != 0);
    call.requireRight(result == LDAP_SUCCESS && pieces == 2);
    ldapx_memfree(state);
    return result;
}

int runRestore(Call &call) {
    char sizes[] = "2;3;2;";
    call.clearStored();
    const int result =
        ldap_restore_object(call.ld, arg("o=a"), arg("secret"), arg("image"), sizes, 5);
    call.heedRefusal();
    call.refusals += result == LDAP_NOT_SUPPORTED ? 1 : 0; // behind it there is libldap's
    require(result == call.stored(), "The session remembers another result.");
    call.requireRight(result == LDAP_SUCCESS);
    return result;
}

} // namespace

void addArchives(std::vector<Operation> &all) {
    all.push_back({"ldap_backup_object", 16, 60, runBackup});
    all.push_back({"ldap_restore_object", 4, 100, runRestore});
}

} // namespace hostile
