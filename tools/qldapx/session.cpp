#include "session.h"

#include "digest_bind.h"
#include "digest_words.h"
#include "errors.h"
#include "password.h"
#include "realm.h"
#include "text.h"
#include "tls/client.h"

#include <cstring>
#include <fmt/format.h>
#include <strings.h>

namespace qldapx {
namespace {

template <typename Value>
void setOption(LDAP *ld, int option, const Value &value) {
    ldap_set_option(ld, option, &value);
}

std::string textOption(LDAP *ld, int option) {
    char *text = nullptr;
    if (ldap_get_option(ld, option, &text) != LDAP_OPT_SUCCESS || text == nullptr)
        return {};
    std::string result = text;
    ldap_memfree(text);
    return result;
}

// What the session remembers of an earlier operation must not explain this one.
void forgetDiagnostics(LDAP *ld) {
    ldap_set_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, "");
    ldap_set_option(ld, LDAP_OPT_MATCHED_DN, "");
    setOption(ld, LDAP_OPT_RESULT_CODE, LDAP_SUCCESS);
}

Secret givenPassword(ConnectionOptions &options, bool json) {
    if (options.passwordIsKept)
        return Secret(options.password.view());
    if (options.ask)
        return askPassword(
            {options.mechanism ? "SASL password: " : "LDAP password: ", "-W", "-y FILE"});
    if (options.passwordFile)
        return readPasswordFile(*options.passwordFile, json);
    return std::move(options.password);
}

// A DN without a password makes an unauthenticated bind (RFC 4513, 5.1.2), which many servers
// answer with success although it proves nothing.
void requirePassword(const ConnectionOptions &options, const Secret &password) {
    if (!password.empty() || options.bindsExternally())
        return;
    const bool isGiven = options.hasPassword || options.ask;
    if (options.mechanism)
        throw UsageError(isGiven ? "the password is empty: give the user's (-U)"
                                 : "-Y needs a password: add -W (asks for it), -y FILE or "
                                   "-w PASSWORD");
    if (isGiven)
        throw UsageError("the password is empty: that would be an unauthenticated bind, which "
                         "proves nothing; leave out -D and the password to be anonymous");
    if (options.bindDn && !options.bindDn->empty())
        throw UsageError("-D needs a password: add -W (asks for it), -y FILE or -w PASSWORD; "
                         "leave out -D to be anonymous");
}

/** Whether the session's server, or one of them, is reached by TLS from the start. */
bool hasLdapsUri(const ConnectionOptions &options) {
    const std::string uris = options.uri.value_or(textOption(nullptr, LDAP_OPT_URI));
    return strcasestr(uris.c_str(), "ldaps://") != nullptr;
}

} // namespace

bool ConnectionOptions::bindsExternally() const {
    return mechanism && strcasecmp(mechanism->c_str(), "EXTERNAL") == 0;
}

void keepPassword(ConnectionOptions &options, bool json) {
    options.password = givenPassword(options, json);
    requirePassword(options, options.password);
    options.passwordIsKept = true;
}

void prepareEncryption(ConnectionOptions &options, bool json) {
    const Encryption encryption = {hasLdapsUri(options), options.startTls > 0};
    requireUseOfTls(options.tls, encryption);
    if (encryption.fromTheStart)
        prepareTls(options.tls, json);
}

Session::Session(ConnectionOptions &options, bool json)
    : watchdog_(options.timeout), timeout_(options.timeout),
      hasIdentity_(options.tls.hasIdentity()) {
    prepareEncryption(options, json);
    Secret password = givenPassword(options, json);
    requirePassword(options, password);
    open(options);
    connect(options, json);
    bind(options, password);
    if (options.actAs)
        attach("--as",
               [&](session_ref at) { return controls::proxied_authorization(at, *options.actAs); });
}

void Session::open(const ConnectionOptions &options) {
    result<session> made = initialize(options.uri ? options.uri->c_str() : nullptr);
    const int code = made ? LDAP_SUCCESS : made.error().code();
    if (code == LDAP_PARAM_ERROR && options.uri)
        throw UsageError(fmt::format("\"{}\" is no LDAP URI: write ldap://HOST:PORT or "
                                     "ldaps://HOST:PORT",
                                     printable(*options.uri)));
    if (!made)
        throw Failure({"connect",
                       options.uri.value_or(""),
                       code,
                       ldap_err2string(code),
                       {},
                       {},
                       {},
                       "check URI in ldap.conf and LDAPURI, or name the server with -H"});
    session_ = std::move(*made);
    LDAP *ld = session_.get();
    const timeval patience = {timeout_, 0};
    setOption(ld, LDAP_OPT_TIMEOUT, patience);
    setOption(ld, LDAP_OPT_NETWORK_TIMEOUT, patience);
    // A server that vanishes without a word is noticed within two minutes.
    setOption(ld, LDAP_OPT_X_KEEPALIVE_IDLE, int{60});
    setOption(ld, LDAP_OPT_X_KEEPALIVE_INTERVAL, int{15});
    setOption(ld, LDAP_OPT_X_KEEPALIVE_PROBES, int{4});
    watchdog_.attachTo(ld);
    // libldap would follow a referral anonymously, and change another server than was asked for.
    ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
}

// A plain session connects with its first operation.
void Session::connect(const ConnectionOptions &options, bool json) {
    forgetHandshake();
    if (options.startTls > 0) {
        prepareStartTls(session_.get(), options.tls, json);
        encrypt(options, json);
    } else if (hasLdapsUri(options)) {
        encrypts_ = true;
        if (!options.tls.verifies())
            setOption(session_.get(), LDAP_OPT_X_TLS_REQUIRE_CERT, int{LDAP_OPT_X_TLS_NEVER});
        perform("connect", uri(), ldap_connect);
    }
}

// In two steps: the watchdog is for the second.
void Session::encrypt(const ConnectionOptions &options, bool json) {
    try {
        perform("StartTLS", uri(), [](LDAP *ld) {
            return ldap_extended_operation_s(ld, LDAP_EXOP_START_TLS, nullptr, nullptr, nullptr,
                                             nullptr, nullptr);
        });
        encrypts_ = true;
        perform("StartTLS", uri(), [this](LDAP *ld) {
            watchdog_.watch(ld);
            const int result = ldap_install_tls(ld);
            Watchdog::rest();
            return result;
        });
    } catch (const Failure &failure) {
        if (options.startTls > 1 || failure.problem().code.value_or(0) < 0)
            throw;
        warn(fmt::format("{}; going on without encryption (-ZZ would stop here)", failure.what()),
             json);
    }
}

void Session::bind(ConnectionOptions &options, Secret &password) {
    const bool endsInNewline = options.passwordFile && password.view().ends_with('\n');
    try {
        if (options.bindsExternally())
            bindExternally();
        else if (options.mechanism)
            bindByDigest(options, password);
        else
            bindSimply(options, password);
    } catch (const Failure &failure) {
        Problem problem = failure.problem();
        if (session_.result_code() == LDAP_INVALID_CREDENTIALS && endsInNewline)
            problem.hint = "the password file ends with a line end, which counts as part of the "
                           "password: write it with printf %s";
        throw Failure(std::move(problem));
    }
    bound_ = true;
}

void Session::bindSimply(const ConnectionOptions &options, Secret &password) {
    // Without -D libldap takes the DN of its own configuration (BINDDN).
    const char *dn = options.bindDn ? options.bindDn->c_str() : nullptr;
    berval credentials = {password.size(), password.data()};
    perform("bind", options.who(), [&](LDAP *ld) {
        return ldap_sasl_bind_s(ld, dn, LDAP_SASL_SIMPLE, &credentials, nullptr, nullptr, nullptr);
    });
}

// With an empty name: the server knows the client by its certificate. Without any it would ask.
void Session::bindExternally() {
    char empty[] = "";
    berval nobody = {0, empty};
    attempt(
        "bind", "EXTERNAL",
        [&](LDAP *ld) {
            return ldap_sasl_bind_s(ld, "", "EXTERNAL", &nobody, nullptr, nullptr, nullptr);
        },
        explainExternal);
}

void Session::bindByDigest(ConnectionOptions &options, const Secret &password) {
    std::optional<digest::exchange> exchange;
    attempt(
        "bind", options.who(),
        [&](LDAP *ld) {
            result<digest::exchange> started = digest::start(session_ref(borrow, ld));
            if (!started)
                return started.error().code();
            exchange.emplace(std::move(*started));
            return LDAP_SUCCESS;
        },
        explainChallenge);
    const std::string realm = chooseRealm(realmsOf(*exchange), options);
    attempt(
        "bind", options.who(),
        [&](LDAP *) {
            return finish(*exchange, {options.who(), password, realm});
        },
        explainProof);
}

std::string Session::uri() const {
    const result<ldap_text> text = session_.uri();
    if (!text)
        throw std::bad_alloc();
    return std::string(*text);
}

void Session::perform(const std::string &operation, const std::string &object, const Call &call) {
    attempt(operation, object, call, explain);
}

Words Session::wordsFor(const Outcome &outcome, Explain explain) const {
    if (outcome.opening && encrypts_ && outcome.code < 0)
        if (const auto words =
                explainTls({outcome.uri, textOption(session_.get(), LDAP_OPT_DIAGNOSTIC_MESSAGE),
                            timeout_, hasIdentity_, outcome.code == LDAP_SERVER_DOWN}))
            return *words;
    return explain(outcome);
}

void Session::attempt(const std::string &operation, const std::string &object, const Call &call,
                      Explain explain) {
    LDAP *ld = session_.get();
    forgetDiagnostics(ld);
    const int result = call(ld);
    if (result == LDAP_SUCCESS)
        return;
    const int sessionCode = session_.result_code();
    const bool answered = sessionCode == LDAP_SUCCESS;
    // A backup that got no answer at all, or a refusal, calls that "no response OID".
    const int code = result == LDAP_NOT_SUPPORTED && !answered ? sessionCode : result;
    const Words words = wordsFor({code, sessionCode, !bound_, uri(), timeout_}, explain);
    throw Failure({operation, object, code, words.name.empty() ? ldap_err2string(code) : words.name,
                   words.reason,
                   answered ? std::string() : textOption(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE),
                   textOption(ld, LDAP_OPT_MATCHED_DN), words.hint});
}

// As the session's own controls they go with the library's operations, too.
void Session::attach(const std::string &operation, const NewControl &create) {
    perform(operation, {}, [&](LDAP *ld) {
        result<control> made = create(session_ref(borrow, ld));
        if (!made)
            return made.error().code();
        controls_.push_back(std::move(*made));
        return LDAP_SUCCESS;
    });
    std::vector<LDAPControl *> all;
    for (const control &each : controls_)
        all.push_back(each.get());
    all.push_back(nullptr);
    if (!session_.set_controls(all.data()))
        throw std::bad_alloc();
}

} // namespace qldapx
