// samples.h - controls to encode.
#pragma once

#include "support/modifications.h"

#include "support/ber.h"

#include <deque>
#include <initializer_list>
#include <ldap.h>
#include <string>
#include <vector>

namespace qldapx_test {

// Owns an LDAPControl ** list to be sent.
class RequestControls {
  public:
    RequestControls() = default;
    RequestControls(const RequestControls &) = delete;
    RequestControls &operator=(const RequestControls &) = delete;

    RequestControls &add(const char *oid, char isCritical) {
        controls_.push_back({const_cast<char *>(oid), {0, nullptr}, isCritical});
        return *this;
    }
    RequestControls &add(const char *oid, char isCritical, Bytes value) {
        Bytes &kept = values_.emplace_back(std::move(value));
        add(oid, isCritical);
        controls_.back().ldctl_value = {kept.size(), kept.data()};
        return *this;
    }

    LDAPControl **list() {
        list_.clear();
        for (LDAPControl &control : controls_)
            list_.push_back(&control);
        list_.push_back(nullptr);
        return list_.data();
    }

  private:
    std::deque<LDAPControl> controls_;
    std::deque<Bytes> values_;
    std::vector<LDAPControl *> list_;
};

} // namespace qldapx_test
