#include "digest_bind.h"

#include "digest_password.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <unordered_set>

namespace qldapx {
namespace {

/** As the library has them: the last one first. */
text_list_ref offered(const digest::exchange &bind) {
    const result<text_list_ref> realms = bind.realms();
    if (!realms)
        throw std::bad_alloc();
    return *realms;
}

} // namespace

std::vector<std::string> realmsOf(const digest::exchange &bind) {
    std::vector<std::string> names;
    std::unordered_set<std::string_view> known; // a server may offer very many
    for (const cstring realm : offered(bind))
        if (known.insert(realm).second)
            names.emplace_back(realm);
    std::reverse(names.begin(), names.end());
    return names;
}

// A bind whose answer did not come is lost: to give it up libldap would connect anew.
int finish(digest::exchange &bind, const DigestAnswer &answer) {
    const text_list_ref realms = offered(bind);
    const auto place = std::find(realms.begin(), realms.end(), std::string_view(answer.realm));
    const auto index = std::distance(realms.begin(), place);
    const Secret hashed = digestPassword(answer.password);
    const result<void> done = bind.finish(answer.user, hashed.view(), static_cast<int>(index));
    bind.release();
    return done ? LDAP_SUCCESS : done.error().code();
}

} // namespace qldapx
