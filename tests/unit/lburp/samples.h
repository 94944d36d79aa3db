// samples.h - controls to encode, and operations that need room.
#pragma once

#include "support/modifications.h"

#include "support/ber.h"

#include <deque>
#include <initializer_list>
#include <ldap.h>
#include <qldapx.h>
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

// More than fits where small operations are written.
inline const Bytes manyBytes(30000, 'x');

// A request with that many bytes; what is made for it here needs no memory.
inline int sendMuch(LDAP *ld, int *id) {
    static char dn[] = "cn=a";
    static berval value{manyBytes.size(), const_cast<char *>(manyBytes.data())};
    static berval *values[] = {&value, nullptr};
    LDAPMod attribute{LDAP_MOD_BVALUES, dn, {nullptr}};
    attribute.mod_bvalues = values;
    LDAPMod *attributes[] = {&attribute, nullptr};
    LBURPOperation operations[] = {{LDAP_REQ_DELETE, dn, nullptr, nullptr},
                                   {LDAP_REQ_ADD, dn, attributes, nullptr}};
    LBURPOperation *list[] = {&operations[0], &operations[1], nullptr};
    return ldap_lburp_operation_request(ld, 1, list, id);
}

} // namespace qldapx_test
