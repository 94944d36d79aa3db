#pragma once

#include "result_words.h"
#include "secret.h"
#include "tls/options.h"
#include "tls/watchdog.h"

#include <functional>
#include <ldap.h>
#include <optional>
#include <qldapx.hpp>
#include <string>
#include <vector>

namespace qldapx {

/** How to reach the server and as whom, as the command line says it. */
struct ConnectionOptions {
    std::optional<std::string> uri; // without one, libldap's own configuration names it
    std::optional<std::string> bindDn;
    std::optional<std::string> mechanism;   // of SASL; without one the bind is a simple one
    std::optional<std::string> user;        // of SASL
    std::optional<std::string> realm;       // of SASL; without one, of those that are offered
    std::optional<std::string> chosenRealm; // on the terminal, kept for further sessions
    bool mayAsk = true;                     // on the terminal, which is not taken otherwise
    Secret password;                        // of -w, or kept
    bool hasPassword = false;
    bool passwordIsKept = false;
    bool ask = false;
    std::optional<std::string> passwordFile;
    int startTls = 0; // 2: refuse to go on without
    TlsOptions tls;
    int timeout = 30;                 // seconds
    std::optional<std::string> actAs; // whose rights count for what follows the bind

    /** By the client's certificate, or what else the server knows the client by. */
    [[nodiscard]] bool bindsExternally() const;
    /** The one to bind as; empty for nobody. */
    [[nodiscard]] std::string who() const { return user.value_or(bindDn.value_or("")); }
};

/** Gets the password now, and keeps it for all sessions that are opened with these options. */
void keepPassword(ConnectionOptions &options, bool json);

/** Reads what sessions with TLS need, and asks for the key's password, once. Throws UsageError. */
void prepareEncryption(ConnectionOptions &options, bool json);

/** A bound session. All of it throws Failure, or UsageError for options that cannot be used. */
class Session {
  public:
    Session(ConnectionOptions &options, bool json);

    using Call = std::function<int(LDAP *)>;
    /** Runs one operation of the library on the session. */
    void perform(const std::string &operation, const std::string &object, const Call &call);

    using NewControl = std::function<result<control>(session_ref)>;
    /** Makes a control that goes with every request from now on. */
    void attach(const std::string &operation, const NewControl &create);
    [[nodiscard]] std::string uri() const;

  private:
    void open(const ConnectionOptions &options);
    void connect(const ConnectionOptions &options, bool json);
    void encrypt(const ConnectionOptions &options, bool json);
    void bind(ConnectionOptions &options, Secret &password);
    void bindSimply(const ConnectionOptions &options, Secret &password);
    void bindExternally();
    void bindByDigest(ConnectionOptions &options, const Secret &password);

    using Explain = Words (*)(const Outcome &);
    /** What is known of the way to the server comes before what the code means. */
    [[nodiscard]] Words wordsFor(const Outcome &outcome, Explain explain) const;
    void attempt(const std::string &operation, const std::string &object, const Call &call,
                 Explain explain);
    Watchdog watchdog_; // outlives the session, which calls it
    session session_;
    std::vector<control> controls_;
    int timeout_;
    bool hasIdentity_;
    bool encrypts_ = false;
    bool bound_ = false;
};

} // namespace qldapx
