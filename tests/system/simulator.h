#pragma once

#include "system/process.h"

namespace test {

/**
 * A strata-sim of the test's own, on a free port unless the options say another, until the end of
 * the test.
 */
class Simulator {
  public:
    explicit Simulator(const Arguments &options = {});
    ~Simulator();
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    [[nodiscard]] const std::string &uri() const { return uri_; }

    /** Runs the tool against it, as the administrator or as nobody. */
    [[nodiscard]] Result administer(const Arguments &arguments) const;
    [[nodiscard]] Result run(const Arguments &arguments) const;
    /** Changes entries with ldapmodify, as the administrator. */
    void change(const std::string &ldif) const;
    /** The arguments of the administrator's call. */
    [[nodiscard]] Arguments asAdministrator(const Arguments &arguments) const;

  private:
    TemporaryFolder folder_;
    Process process_;
    std::string uri_;
};

constexpr const char *adminDn = "cn=admin,dc=example,dc=com";
constexpr const char *adminPassword = "secret";

} // namespace test
