#pragma once

#include <ldap.h>
#include <vector>

namespace qldapx {

/** The session's controls and a request's own: libldap would send only the latter. */
class RequestControls {
  public:
    RequestControls(LDAP *ld, LDAPControl **own) {
        if (own == nullptr)
            return;
        ldap_get_option(ld, LDAP_OPT_SERVER_CONTROLS, &session_);
        for (LDAPControl **each = session_; each != nullptr && *each != nullptr; ++each)
            all_.push_back(*each);
        for (; *own != nullptr; ++own)
            all_.push_back(*own);
        all_.push_back(nullptr);
    }
    ~RequestControls() { ldap_controls_free(session_); }
    RequestControls(const RequestControls &) = delete;
    RequestControls &operator=(const RequestControls &) = delete;

    /** None leaves the session's to libldap. */
    LDAPControl **list() { return all_.empty() ? nullptr : all_.data(); }

  private:
    LDAPControl **session_ = nullptr;
    std::vector<LDAPControl *> all_;
};

} // namespace qldapx
