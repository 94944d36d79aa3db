// directory.h - what the servers of these tests have in common: a folder and a socket of their
// own, sessions that are bound, and entries.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <ldap.h>
#include <stdexcept>
#include <string>
#include <sys/time.h>
#include <utility>
#include <vector>

namespace test {

// A new folder, named by what it is for and something that no other test has.
inline std::filesystem::path makeFolder(const std::string &purpose) {
    std::string name =
        (std::filesystem::temp_directory_path() / ("qldapx-" + purpose + "-XXXXXX")).string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder");
    return name;
}

inline std::string unixSocketUri(const std::filesystem::path &socket) {
    std::string escaped;
    for (char c : socket.string())
        escaped += c == '/' ? std::string("%2F") : std::string(1, c);
    return "ldapi://" + escaped;
}

// A session of LDAP v3 that nobody waits on for ever.
inline LDAP *openSession(const std::string &uri) {
    LDAP *ld = nullptr;
    int version = LDAP_VERSION3;
    timeval patience{10, 0};
    if (ldap_initialize(&ld, uri.c_str()) != LDAP_SUCCESS)
        throw std::runtime_error("no session with " + uri);
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
    return ld;
}

inline int simpleBind(LDAP *ld, const std::string &dn, std::string password) {
    berval credentials{password.size(), password.data()};
    return ldap_sasl_bind_s(ld, dn.c_str(), LDAP_SASL_SIMPLE, &credentials, nullptr, nullptr,
                            nullptr);
}

inline LDAP *openSession(const std::string &uri, const std::string &dn,
                         const std::string &password) {
    LDAP *ld = openSession(uri);
    if (simpleBind(ld, dn, password) == LDAP_SUCCESS)
        return ld;
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    throw std::runtime_error(dn + " cannot bind");
}

inline bool answers(const std::string &uri, const std::string &dn, const std::string &password) {
    LDAP *ld = openSession(uri);
    int result = simpleBind(ld, dn, password);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return result == LDAP_SUCCESS;
}

using Attributes = std::vector<std::pair<std::string, std::vector<std::string>>>;

// The modifications of LDAP's add operation, which point into the attributes.
class Additions {
  public:
    explicit Additions(Attributes &attributes) : mods_(attributes.size()) {
        for (std::size_t i = 0; i < attributes.size(); ++i) {
            std::vector<char *> &values = values_.emplace_back();
            for (std::string &value : attributes[i].second)
                values.push_back(value.data());
            values.push_back(nullptr);
            mods_[i].mod_op = LDAP_MOD_ADD;
            mods_[i].mod_type = attributes[i].first.data();
            mods_[i].mod_values = values.data();
            list_.push_back(&mods_[i]);
        }
        list_.push_back(nullptr);
    }

    [[nodiscard]] LDAPMod **list() { return list_.data(); }

  private:
    std::vector<std::vector<char *>> values_;
    std::vector<LDAPMod> mods_;
    std::vector<LDAPMod *> list_;
};

// The server's result of adding the entry.
inline int addEntry(LDAP *ld, const std::string &dn, Attributes attributes,
                    LDAPControl **controls = nullptr) {
    Additions mods(attributes);
    return ldap_add_ext_s(ld, dn.c_str(), mods.list(), controls, nullptr);
}

// For the trees that the tests begin with.
inline void mustAdd(LDAP *ld, const std::string &dn, Attributes attributes) {
    if (addEntry(ld, dn, std::move(attributes)) != LDAP_SUCCESS)
        throw std::runtime_error("the server refused " + dn);
}

} // namespace test
