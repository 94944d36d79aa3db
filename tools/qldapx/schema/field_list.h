#pragma once

#include <ldap.h>
#include <memory>
#include <string>
#include <vector>

namespace qldapx {

/** Fields as the library takes them, with all that they point to. */
class FieldList {
  public:
    void add(int operation, const std::string &keyword, const std::vector<std::string> &values);
    /** Ended by NULL; valid until the next addition. */
    LDAPMod **mods();

  private:
    struct Row {
        std::string keyword;
        std::vector<std::string> values;
        std::vector<char *> pointers;
        LDAPMod mod{};
    };
    std::vector<std::unique_ptr<Row>> rows_;
    std::vector<LDAPMod *> mods_;
};

} // namespace qldapx
