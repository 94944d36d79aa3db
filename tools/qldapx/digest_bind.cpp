#include "digest_bind.h"

#include "digest_password.h"

#include <algorithm>
#include <new>
#include <qldapx.h>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace qldapx {

DigestBind::~DigestBind() {
    if (context_ != nullptr)
        ldap_bind_digest_md5_finish(&context_, nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON);
}

int DigestBind::start(LDAP *ld) {
    return ldap_bind_digest_md5_start(ld, &context_);
}

char **DigestBind::offered() const {
    char **realms = nullptr;
    if (ldap_get_digest_md5_realms(context_, &realms) != LDAP_SUCCESS)
        throw std::bad_alloc();
    return realms;
}

std::vector<std::string> DigestBind::realms() const {
    std::vector<std::string> names;
    std::unordered_set<std::string_view> known; // a server may offer very many
    for (char **realm = offered(); *realm != nullptr; ++realm)
        if (known.insert(*realm).second)
            names.emplace_back(*realm);
    std::reverse(names.begin(), names.end());
    return names;
}

// A bind whose answer did not come is lost: to give it up libldap would connect anew.
int DigestBind::finish(const std::string &user, const Secret &password, const std::string &realm) {
    char **first = offered();
    char **chosen = first;
    while (*chosen != nullptr && *chosen != realm)
        ++chosen;
    const Secret hashed = digestPassword(password);
    void *context = std::exchange(context_, nullptr);
    return ldap_bind_digest_md5_finish(&context, user.c_str(), hashed.view().data(),
                                       static_cast<int>(hashed.size()),
                                       static_cast<int>(chosen - first), QLDAPX_DIGEST_COMPLETE);
}

} // namespace qldapx
