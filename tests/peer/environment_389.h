// environment_389.h - one 389 directory server for all tests of the program, since its start takes
// longer than they do, and what each of them has: two sessions and a place in the tree.
#pragma once

#include "directory_server_389.h"

#include <gtest/gtest.h>

namespace test {

class With389 : public testing::Test {
  public:
    static const DirectoryServer389 &server();

  protected:
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] std::string below(const std::string &rdn) const { return rdn + "," + base; }

    // The administrator's, one that listens and one that writes.
    LDAP *ld = nullptr;
    LDAP *writer = nullptr;
    // An entry of the test's own, named like the test.
    std::string base;
};

} // namespace test
