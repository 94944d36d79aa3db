// tls_client.h - what the tests of TLS share: certificates, sessions, how connecting ends, and
// which TLS library libldap is built with.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <ldap.h>
#include <memory>
#include <string>

namespace test {

// The path of what tls_certificates has made, and its contents.
std::string tlsFile(const std::string &name);
std::string tlsBytes(const std::string &name);

// libldap does TLS itself, with OpenSSL; otherwise the library does it below libldap.
bool libldapHasOpenSsl();

struct SessionRelease {
    void operator()(LDAP *ld) const { ldap_unbind_ext_s(ld, nullptr, nullptr); }
};
using SessionPtr = std::unique_ptr<LDAP, SessionRelease>;

SessionPtr newSession(const std::string &uri);

std::string diagnosticOf(LDAP *ld);
std::string uriOf(LDAP *ld);
int bindAnonymously(LDAP *ld);

// Waits until the session notices that its connection has ended, while nothing is outstanding:
// libldap connects again for the next operation then, and not as long as it waits for an answer.
void awaitEnd(LDAP *ld);

// The result of connecting and binding as nobody, and the session's message about it.
struct TlsAttempt {
    int result;
    std::string diagnostic;
};
TlsAttempt attempt(LDAP *ld);
TlsAttempt attempt(const std::string &uri);

void expectConnects(const std::string &uri);
// With a message that has this text in it.
void expectRefused(const TlsAttempt &given, const std::string &reason);

// What the callback was asked about.
struct Question {
    int error;
    int depth;
    std::string subject;

    bool operator==(const Question &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Question &question);

// Waits until it holds, for ten seconds at most.
bool eventually(const std::function<bool()> &holds);

// How many files and sockets the program has open.
std::size_t openDescriptors();

// Each test has a context of its own that trusts nobody.
class WithTls : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    static void trust(const std::string &name);
};

} // namespace test
