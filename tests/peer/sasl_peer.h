// sasl_peer.h - binds by DIGEST-MD5 with a real server: what the servers differ in, who is there,
// and what each test has. The same tests run with every server.
#pragma once

#include <gtest/gtest.h>
#include <ldap.h>
#include <memory>
#include <string>
#include <vector>

namespace test {

struct SaslPeer {
    std::string uri, adminDn, adminPassword;
    std::string realm;     // that it offers
    std::string clearText; // what marks a password that it keeps as it is
    // Its results:
    int unknownUser;             // for who is not there
    int searchDuringBind;        // for a search after a start
    std::shared_ptr<void> owner; // of a server that is started for these tests
};

// Each program has its own.
SaslPeer startSaslPeer();

struct Person {
    std::string uid, password;
    std::string escapedUid = {}; // the uid in a DN, where it is another text

    [[nodiscard]] std::string dn() const;
};

// With passwords and names of many kinds.
extern const std::vector<Person> people;
// One of them.
const Person &person(const std::string &uid);

// Adds the person's entry, whose password the server keeps as it is, or throws.
void addPerson(const SaslPeer &peer, const Person &someone);

int bindSimply(LDAP *ld, const Person &someone);
void expectIs(LDAP *ld, const Person &someone);
void expectAnonymous(LDAP *ld);

class WithSaslPeer : public testing::Test {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();

    void SetUp() override;
    void TearDown() override;

    static inline SaslPeer peer;
    LDAP *ld = nullptr; // bound as nobody
};

} // namespace test
