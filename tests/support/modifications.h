// modifications.h - modifications (LDAPMod) by hand.
#pragma once

#include "support/ber.h"

#include <deque>
#include <initializer_list>
#include <ldap.h>
#include <vector>

namespace qldapx_test {

// Owns an LDAPMod ** list. The values of one modification are all strings or all bervals.
class Modifications {
  public:
    Modifications() = default;
    Modifications(const Modifications &) = delete;
    Modifications &operator=(const Modifications &) = delete;

    Modifications &strings(int operation, const char *type,
                           std::initializer_list<const char *> values) {
        Item &item = add(operation, type);
        for (const char *value : values)
            item.strings.push_back(const_cast<char *>(value));
        item.strings.push_back(nullptr);
        item.mod.mod_values = item.strings.data();
        return *this;
    }
    Modifications &bytes(int operation, const char *type, std::initializer_list<Bytes> values) {
        Item &item = add(operation | LDAP_MOD_BVALUES, type);
        item.contents.assign(values);
        for (Bytes &value : item.contents)
            item.bervals.push_back({value.size(), value.data()});
        for (berval &value : item.bervals)
            item.pointers.push_back(&value);
        item.pointers.push_back(nullptr);
        item.mod.mod_bvalues = item.pointers.data();
        return *this;
    }
    // A modification as it stands.
    Modifications &raw(LDAPMod mod) {
        add(mod.mod_op, mod.mod_type).mod = mod;
        return *this;
    }

    LDAPMod **list() {
        list_.clear();
        for (Item &item : items_)
            list_.push_back(&item.mod);
        list_.push_back(nullptr);
        return list_.data();
    }

  private:
    struct Item {
        LDAPMod mod{};
        std::vector<char *> strings;
        std::vector<Bytes> contents;
        std::vector<berval> bervals;
        std::vector<berval *> pointers;
    };

    Item &add(int operation, const char *type) {
        Item &item = items_.emplace_back();
        item.mod.mod_op = operation;
        item.mod.mod_type = const_cast<char *>(type);
        return item;
    }

    std::deque<Item> items_;
    std::vector<LDAPMod *> list_;
};

} // namespace qldapx_test
