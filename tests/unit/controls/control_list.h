// control_list.h - response controls as an application holds them.
#pragma once

#include "support/ber.h"

#include <deque>
#include <ldap.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qldapx_test {

class ControlList {
  public:
    ControlList() : list_{nullptr} {}

    // Adds a control; a value is held in exactly as many bytes as it has, so that a sanitizer
    // sees a read beyond it. nullopt: a control without a value.
    ControlList &add(const std::string &oid, const std::optional<Bytes> &value) {
        oids_.push_back(oid);
        LDAPControl control{oids_.back().data(), {0, nullptr}, 0};
        if (value) {
            values_.push_back(std::make_unique<char[]>(value->size()));
            value->copy(values_.back().get(), value->size());
            control.ldctl_value = {value->size(), values_.back().get()};
        }
        controls_.push_back(control);
        list_.insert(list_.end() - 1, &controls_.back());
        return *this;
    }

    LDAPControl **get() { return list_.data(); }

  private:
    // Deques, whose elements stay where they are.
    std::deque<std::string> oids_;
    std::deque<LDAPControl> controls_;
    std::vector<std::unique_ptr<char[]>> values_;
    std::vector<LDAPControl *> list_;
};

inline constexpr char entryChangeOid[] = "2.16.840.1.113730.3.4.7";
inline constexpr char statusOid[] = "2.16.840.1.907341.1.27.101.40";
inline constexpr char referenceOid[] = "2.16.840.1.907341.1.1.5150.101.1";

} // namespace qldapx_test
