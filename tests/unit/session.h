// session.h - a session for functions that send nothing, and the result code that it remembers.
#pragma once

#include <gtest/gtest.h>
#include <ldap.h>

namespace qldapx_test {

class Session {
  public:
    Session() {
        EXPECT_EQ(ldap_initialize(&ld_, "ldap://127.0.0.1:1"), LDAP_SUCCESS);
        store(before);
    }
    ~Session() { ldap_unbind_ext_s(ld_, nullptr, nullptr); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // What the session remembers before a test; no function here stores it.
    static constexpr int before = LDAP_BUSY;

    operator LDAP *() const { return ld_; }

    [[nodiscard]] int resultCode() const {
        int code = 0;
        ldap_get_option(ld_, LDAP_OPT_RESULT_CODE, &code);
        return code;
    }
    void store(int code) { ldap_set_option(ld_, LDAP_OPT_RESULT_CODE, &code); }

  private:
    LDAP *ld_ = nullptr;
};

} // namespace qldapx_test
