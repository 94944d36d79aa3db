#pragma once

#include "secret.h"

#include <functional>
#include <ldap.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qldapx {

/** How to reach the server and as whom, as the command line says it. */
struct ConnectionOptions {
    std::optional<std::string> uri; // without one, libldap's own configuration names it
    std::optional<std::string> bindDn;
    Secret password; // of -w, or kept
    bool hasPassword = false;
    bool passwordIsKept = false;
    bool ask = false;
    std::optional<std::string> passwordFile;
    int startTls = 0;                 // 2: refuse to go on without
    int timeout = 30;                 // seconds
    std::optional<std::string> actAs; // whose rights count for what follows the bind
};

/** Gets the password now, and keeps it for all sessions that are opened with these options. */
void keepPassword(ConnectionOptions &options, bool json);

/** A bound session. All of it throws Failure, or UsageError for options that cannot be used. */
class Session {
  public:
    Session(ConnectionOptions &options, bool json);

    using Call = std::function<int(LDAP *)>;
    /** Runs one operation of the library on the session. */
    void perform(const std::string &operation, const std::string &object, const Call &call);

    using NewControl = std::function<int(LDAP *, LDAPControl **)>;
    /** Makes a control that goes with every request from now on. */
    void attach(const std::string &operation, const NewControl &create);
    [[nodiscard]] std::string uri() const;

  private:
    struct Unbind {
        void operator()(LDAP *ld) const;
    };
    struct FreeControl {
        void operator()(LDAPControl *control) const { ldap_control_free(control); }
    };

    void open(const ConnectionOptions &options);
    void encrypt(const ConnectionOptions &options, bool json);
    void bind(const ConnectionOptions &options, Secret password);

    std::unique_ptr<LDAP, Unbind> session_;
    std::vector<std::unique_ptr<LDAPControl, FreeControl>> controls_;
    int timeout_;
    bool bound_ = false;
};

} // namespace qldapx
