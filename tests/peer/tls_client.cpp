#include "tls_client.h"

#include "directory.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <qldapx.h>
#include <qldapx/tls.h>
#include <sstream>
#include <thread>

namespace test {

std::string tlsFile(const std::string &name) {
    std::string path = std::string(TLS_CERTIFICATES) + "/" + name;
    if (!std::filesystem::exists(path))
        throw std::runtime_error("no " + path + ": ctest runs peer.tls.certificates first");
    return path;
}

std::string tlsBytes(const std::string &name) {
    std::ostringstream text;
    text << std::ifstream(tlsFile(name)).rdbuf();
    return text.str();
}

bool libldapHasOpenSsl() {
    char *package = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_PACKAGE, &package);
    bool has = package != nullptr && std::strcmp(package, "OpenSSL") == 0;
    ldap_memfree(package);
    return has;
}

SessionPtr newSession(const std::string &uri) {
    return SessionPtr(openSession(uri));
}

namespace {

std::string textOption(LDAP *ld, int option) {
    char *text = nullptr;
    ldap_get_option(ld, option, &text);
    std::string copy = text != nullptr ? text : "";
    ldap_memfree(text);
    return copy;
}

} // namespace

std::string diagnosticOf(LDAP *ld) {
    return textOption(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE);
}

std::string uriOf(LDAP *ld) {
    return textOption(ld, LDAP_OPT_URI);
}

int bindAnonymously(LDAP *ld) {
    return simpleBind(ld, "", "");
}

void awaitEnd(LDAP *ld) {
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    int type = 0;
    while ((type = ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ONE, &patience, &message)) > 0)
        ldap_msgfree(message); // the server says that it ends
    EXPECT_EQ(type, -1);
}

TlsAttempt attempt(LDAP *ld) {
    int result = bindAnonymously(ld);
    return {result, diagnosticOf(ld)};
}

TlsAttempt attempt(const std::string &uri) {
    return attempt(newSession(uri).get());
}

void expectConnects(const std::string &uri) {
    TlsAttempt given = attempt(uri);
    EXPECT_EQ(given.result, LDAP_SUCCESS) << uri << ": " << given.diagnostic;
}

void expectRefused(const TlsAttempt &given, const std::string &reason) {
    EXPECT_EQ(given.result, LDAP_SERVER_DOWN);
    EXPECT_NE(given.diagnostic.find(reason), std::string::npos)
        << "'" << given.diagnostic << "' does not have '" << reason << "'";
}

std::ostream &operator<<(std::ostream &out, const Question &question) {
    return out << question.error << " at " << question.depth << " of " << question.subject;
}

bool eventually(const std::function<bool()> &holds) {
    for (int i = 0; i < 1000; ++i) {
        if (holds())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::size_t openDescriptors() {
    std::filesystem::directory_iterator first("/proc/self/fd"), last;
    return static_cast<std::size_t>(std::distance(first, last));
}

void WithTls::SetUp() {
    std::signal(SIGPIPE, SIG_IGN); // libldap leaves it to the program
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
}

void WithTls::TearDown() {
    ldapssl_client_deinit();
}

void WithTls::trust(const std::string &name) {
    ASSERT_EQ(ldapssl_add_trusted_cert(tlsFile(name).c_str(), QLDAPX_TLS_FILE_PEM), 0);
}

} // namespace test
