// mods.h - attributes and changes of entries (LDAPMod), with values of any bytes.
#pragma once

#include <deque>
#include <ldap.h>
#include <string>
#include <utility>
#include <vector>

namespace soak {

/** Owns an LDAPMod ** list. */
class Mods {
  public:
    Mods() = default;
    Mods(const Mods &) = delete;
    Mods &operator=(const Mods &) = delete;

    Mods &put(int operation, std::string type, std::vector<std::string> values) {
        Item &item = items_.emplace_back();
        item.type = std::move(type);
        item.values = std::move(values);
        for (std::string &value : item.values)
            item.bytes.push_back({value.size(), value.data()});
        for (berval &value : item.bytes)
            item.pointers.push_back(&value);
        item.pointers.push_back(nullptr);
        item.mod.mod_op = operation | LDAP_MOD_BVALUES;
        item.mod.mod_type = item.type.data();
        item.mod.mod_bvalues = item.pointers.data();
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
        std::string type;
        std::vector<std::string> values;
        std::vector<berval> bytes;
        std::vector<berval *> pointers;
    };

    std::deque<Item> items_;
    std::vector<LDAPMod *> list_;
};

} // namespace soak
