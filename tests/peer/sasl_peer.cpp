#include "sasl_peer.h"

#include "directory.h"
#include "proxied_authorization.h"

#include <algorithm>

namespace test {
namespace {

// DNs come back in lower case, and one server puts a space before them.
std::string comparable(const std::string &identity) {
    std::string text;
    for (char c : identity)
        text += 'A' <= c && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c;
    return text.rfind("dn: ", 0) == 0 ? "dn:" + text.substr(4) : text;
}

} // namespace

const std::vector<Person> people = {
    {"ada", "peer-secret"},
    {"ben", "another secret, with words"},
    {"short", "x"},
    {"long", std::string(200, 'p')},
    {"quotes", R"(say "a\b\\" twice: \")"},
    {"digits", "0123456789"},
    {"greek", "κωδικός"},
    {"Ada Tester", "peer-secret"},
    {"ada+ben", "peer-secret", "ada\\2bben"},
    {"tester, ada", "peer-secret", "tester\\2c ada"},
    {"tester;ada", "peer-secret", "tester\\3bada"},
};

const Person &person(const std::string &uid) {
    auto is = [&uid](const Person &someone) { return someone.uid == uid; };
    return *std::find_if(people.begin(), people.end(), is);
}

std::string Person::dn() const {
    return "uid=" + (escapedUid.empty() ? uid : escapedUid) + ",ou=people,dc=example,dc=com";
}

void addPerson(const SaslPeer &peer, const Person &someone) {
    LDAP *admin = openSession(peer.uri, peer.adminDn, peer.adminPassword);
    int result = addEntry(admin, someone.dn(),
                          {{"objectClass", {"inetOrgPerson"}},
                           {"uid", {someone.uid}},
                           {"cn", {someone.uid}},
                           {"sn", {"Tester"}},
                           {"userPassword", {peer.clearText + someone.password}}});
    ldap_unbind_ext_s(admin, nullptr, nullptr);
    // Tests may share a server.
    if (result != LDAP_SUCCESS && result != LDAP_ALREADY_EXISTS)
        throw std::runtime_error("the server refused " + someone.dn());
}

int bindSimply(LDAP *ld, const Person &someone) {
    return simpleBind(ld, someone.dn(), someone.password);
}

void expectIs(LDAP *ld, const Person &someone) {
    EXPECT_EQ(comparable(identityWith(ld, nullptr)), comparable("dn:" + someone.dn()));
}

void expectAnonymous(LDAP *ld) {
    EXPECT_EQ(identityWith(ld, nullptr), "");
}

void WithSaslPeer::SetUpTestSuite() {
    peer = startSaslPeer();
    for (const Person &someone : people)
        addPerson(peer, someone);
}

void WithSaslPeer::TearDownTestSuite() {
    peer = {};
}

void WithSaslPeer::SetUp() {
    ld = openSession(peer.uri);
}

void WithSaslPeer::TearDown() {
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

} // namespace test
