// Binds by DIGEST-MD5, in both steps.
#include "hostile/call.h"

#include <qldapx.h>

namespace hostile {

namespace {

int countRealms(void *context) {
    char **realms = nullptr;
    require(ldap_get_digest_md5_realms(context, &realms) == LDAP_SUCCESS, "No list of realms.");
    int count = 0;
    while (realms[count] != nullptr)
        ++count;
    return count;
}

// Who waited in vain keeps the bind.
void giveUp(Call &call, void **context, int result) {
    const bool isUnnamed = call.stored() == LDAP_SUCCESS; // why, by libldap
    require(result == (isUnnamed ? LDAP_TIMEOUT : call.stored()), "A bind is left behind.");
    ldap_bind_digest_md5_finish(context, nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON);
    require(*context == nullptr, "A bind cannot be given up.");
    call.losesMemory = true;
}

int finish(Call &call, void *context) {
    const int count = countRealms(context);
    const int realm =
        count > 1 ? static_cast<int>(call.random.below(static_cast<std::size_t>(count))) : 0;
    const bool isAbandoned = call.random.percent(5);
    call.losesMemory |= count != 1 || isAbandoned;
    call.clearStored();
    const int result =
        ldap_bind_digest_md5_finish(&context, Server::user, Server::password, -1, realm,
                                    isAbandoned ? QLDAPX_DIGEST_ABANDON : QLDAPX_DIGEST_COMPLETE);
    call.losesMemory |= result == LDAP_PARAM_ERROR;
    call.heedRefusal();
    if (context != nullptr)
        giveUp(call, &context, result);
    call.requireRight(result == (isAbandoned ? LDAP_USER_CANCELLED : LDAP_SUCCESS));
    require(result != LDAP_SUCCESS || call.peer.sent().find("rspauth") != qldapx_test::Bytes::npos,
            "A bind without a proof.");
    return result;
}

// A challenge that is not taken may have had realms.
int run(Call &call) {
    char untouched = 0;
    void *context = &untouched;
    call.clearStored();
    const int result = ldap_bind_digest_md5_start(call.ld, &context);
    call.heedRefusal();
    require((result == LDAP_SUCCESS) == (context != &untouched), "A result without a bind.");
    call.requireRight(result == LDAP_SUCCESS);
    if (result == LDAP_SUCCESS)
        return finish(call, context);
    call.losesMemory |= !call.peer.isRight();
    return result;
}

} // namespace

void addBinds(std::vector<Operation> &all) {
    all.push_back({"ldap_bind_digest_md5_start ... finish", 40, 55, run});
}

} // namespace hostile
