// ten_attributes.h - an entry of ten attributes, to be added again and again.
#pragma once

#include <array>
#include <cstring>
#include <ldap.h>

namespace bench {

inline constexpr const char *tenTexts[10][2] = {{"objectClass", "inetOrgPerson"},
                                                {"cn", "Anna Example"},
                                                {"sn", "Example"},
                                                {"givenName", "Anna"},
                                                {"uid", "anna"},
                                                {"mail", "anna@example.com"},
                                                {"telephoneNumber", "+354 555 0100"},
                                                {"title", "Engineer"},
                                                {"l", "Reykjavik"},
                                                {"description", "one of very many"}};

class TenAttributes {
  public:
    // Values as strings or as bervals.
    explicit TenAttributes(bool isBinary = false) {
        for (std::size_t i = 0; i < attributes_.size(); ++i) {
            char *text = const_cast<char *>(tenTexts[i][1]);
            strings_[i] = {text, nullptr};
            bytes_[i] = {std::strlen(text), text};
            bytePointers_[i] = {&bytes_[i], nullptr};
            attributes_[i].mod_op = LDAP_MOD_ADD | (isBinary ? LDAP_MOD_BVALUES : 0);
            attributes_[i].mod_type = const_cast<char *>(tenTexts[i][0]);
            if (isBinary)
                attributes_[i].mod_bvalues = bytePointers_[i].data();
            else
                attributes_[i].mod_values = strings_[i].data();
            list_[i] = &attributes_[i];
        }
    }
    TenAttributes(const TenAttributes &) = delete;
    TenAttributes &operator=(const TenAttributes &) = delete;

    LDAPMod **list() { return list_.data(); }

  private:
    std::array<std::array<char *, 2>, 10> strings_{};
    std::array<berval, 10> bytes_{};
    std::array<std::array<berval *, 2>, 10> bytePointers_{};
    std::array<LDAPMod, 10> attributes_{};
    std::array<LDAPMod *, 11> list_{};
};

} // namespace bench
