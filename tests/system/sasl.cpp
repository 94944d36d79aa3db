#include "system/sasl.h"

namespace test {

Arguments digestBind(const std::string &user, const std::string &password, const Arguments &more) {
    Arguments all = {"-Y", "DIGEST-MD5", "-U", user, "-w", password};
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

Arguments realmOptions(const std::vector<std::string> &realms) {
    Arguments options;
    for (const std::string &realm : realms)
        options.insert(options.end(), {"--sasl-realm", realm});
    return options;
}

Surroundings losingBind(const std::string &uri) {
    return {{{"LDAPURI", uri}, {"ASAN_OPTIONS", "detect_leaks=0"}}, {}, {}};
}

} // namespace test
