// Binds by DIGEST-MD5: whom they bind, and what they are refused for.
#include "directory.h"
#include "sasl_bind.h"
#include "sasl_peer.h"

#include <climits>

namespace {

using namespace test;

using SaslBind = WithSaslPeer;

TEST_F(SaslBind, EverybodyIsWhoTheyAre) {
    for (const Person &someone : people) {
        SCOPED_TRACE(someone.uid);
        DigestBind bind(ld);
        EXPECT_EQ(bind.realms(), std::vector<std::string>{peer.realm});
        EXPECT_EQ(bind.finish(someone.uid, someone.password), LDAP_SUCCESS);
        EXPECT_FALSE(bind.isHeld());
        expectIs(ld, someone);
    }
}

TEST_F(SaslBind, RealmsNeedNotBeAskedFor) {
    EXPECT_EQ(digestBind(ld, "ada", "peer-secret"), LDAP_SUCCESS);
    expectIs(ld, person("ada"));
}

// Whoever is refused can try again, and is nobody until then.
TEST_F(SaslBind, WhatIsWrongIsRefused) {
    const struct {
        const char *name;
        DigestAnswer answer;
        int result;
    } rows[] = {
        {"another password", {"ada", "peer-secreT"}, LDAP_INVALID_CREDENTIALS},
        {"another's password", {"ada", "another secret, with words"}, LDAP_INVALID_CREDENTIALS},
        {"a longer password", {"ada", "peer-secrets"}, LDAP_INVALID_CREDENTIALS},
        {"too short a length", {"ada", "peer-secret", 10}, LDAP_INVALID_CREDENTIALS},
        {"the zero counted", {"ada", "peer-secret", 12}, LDAP_INVALID_CREDENTIALS},
        {"a length of 0", {"ada", "peer-secret", 0}, LDAP_INVALID_CREDENTIALS},
        {"an empty password", {"ada", ""}, LDAP_INVALID_CREDENTIALS},
        {"no password", {"ada", nullptr}, LDAP_INVALID_CREDENTIALS},
        {"no password with a length", {"ada", nullptr, 0}, LDAP_INVALID_CREDENTIALS},
        {"another user", {"ben", "peer-secret"}, LDAP_INVALID_CREDENTIALS},
        {"a user who is not there", {"nobody", "peer-secret"}, peer.unknownUser},
        {"a part of a name", {"ad", "peer-secret"}, peer.unknownUser},
        {"a name with a realm", {R"(ada",realm="elsewhere)", "peer-secret"}, peer.unknownUser},
        {"a pattern", {"ad*", "peer-secret"}, peer.unknownUser},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        DigestBind bind(ld);
        EXPECT_EQ(bind.finish(row.answer), row.result);
        EXPECT_FALSE(bind.isHeld());
        expectAnonymous(ld);
        EXPECT_EQ(digestBind(ld, "ben", "another secret, with words"), LDAP_SUCCESS);
        expectIs(ld, person("ben"));
    }
}

TEST_F(SaslBind, LengthsCount) {
    const char unended[] = {'x', 'y'};
    const struct {
        const char *name;
        DigestAnswer answer;
    } rows[] = {
        {"the first ones", {"ada", "peer-secretXYZ", 11}},
        {"all, counted", {"ada", "peer-secret", 11}},
        {"all, not counted", {"ada", "peer-secret", -1}},
        {"without a zero", {"short", unended, 1}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        DigestBind bind(ld);
        EXPECT_EQ(bind.finish(row.answer), LDAP_SUCCESS);
        expectIs(ld, person(row.answer.user));
    }
}

// Nothing is sent: the exchange stays open at the server until a simple bind ends it.
TEST_F(SaslBind, WrongArgumentsEndTheBindHere) {
    const struct {
        const char *name;
        DigestAnswer answer;
    } rows[] = {
        {"realm -1", {.user = "ada", .password = "peer-secret", .realm = -1}},
        {"realm 1", {.user = "ada", .password = "peer-secret", .realm = 1}},
        {"realm 5", {.user = "ada", .password = "peer-secret", .realm = 5}},
        {"the last realm", {.user = "ada", .password = "peer-secret", .realm = INT_MAX}},
        {"the first realm", {.user = "ada", .password = "peer-secret", .realm = INT_MIN}},
        {"no user", {.password = "peer-secret"}},
        {"mode 0", {.user = "ada", .password = "peer-secret", .mode = 0}},
        {"mode 3", {.user = "ada", .password = "peer-secret", .mode = 3}},
        {"length -2", {.user = "ada", .password = "peer-secret", .length = -2}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(finishWithoutRealm(ld, row.answer), LDAP_PARAM_ERROR);
        EXPECT_EQ(bindSimply(ld, person("ben")), LDAP_SUCCESS);
        expectIs(ld, person("ben"));
        EXPECT_EQ(digestBind(ld, "ada", "peer-secret"), LDAP_SUCCESS);
        expectIs(ld, person("ada"));
    }
}

// 4096 bytes are the most that an answer may have: too long a name gives one that is longer.
TEST_F(SaslBind, TooLongAnAnswerIsNotSent) {
    DigestBind bind(ld);
    EXPECT_EQ(bind.finish(std::string(4096, 'u'), "peer-secret"), LDAP_PARAM_ERROR);
    EXPECT_FALSE(bind.isHeld());
    EXPECT_EQ(bindSimply(ld, person("ada")), LDAP_SUCCESS);
}

TEST_F(SaslBind, NullPointersAreRefused) {
    char **realms = nullptr;
    EXPECT_EQ(ldap_bind_digest_md5_start(ld, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_get_digest_md5_realms(nullptr, &realms), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_bind_digest_md5_finish(nullptr, "ada", "peer-secret", -1, 0, 1),
              LDAP_PARAM_ERROR);
    void *none = nullptr;
    EXPECT_EQ(ldap_bind_digest_md5_finish(&none, "ada", "peer-secret", -1, 0, 1), LDAP_PARAM_ERROR);
    EXPECT_EQ(digestBind(ld, "ada", "peer-secret"), LDAP_SUCCESS);
    expectIs(ld, person("ada"));
}

// Servers with cyrus-sasl take what RFC 2831 (2.1.2.1) wants, a password of ISO 8859-1 in that
// encoding, and what many clients do, UTF-8 for all.
TEST_F(SaslBind, PasswordsOfLatin1InBothEncodings) {
    const Person latin = {"latin", "gr\xc3\xbcn"};
    addPerson(peer, latin);
    for (const char *password : {"gr\xfcn", "gr\xc3\xbcn"}) {
        EXPECT_EQ(digestBind(ld, "latin", password), LDAP_SUCCESS);
        expectIs(ld, latin);
    }
    EXPECT_EQ(digestBind(ld, "latin", "grun"), LDAP_INVALID_CREDENTIALS);
    EXPECT_EQ(digestBind(ld, "greek", "\xea\xf9\xe4\xe9\xea\xfc\xf2"), LDAP_INVALID_CREDENTIALS);
}

TEST_F(SaslBind, HashedPasswordsCannotBeProven) {
    SaslPeer hashing = peer;
    hashing.clearText = "{SHA}";
    addPerson(hashing, {"hashed", "7grL5dGDmb18sHYkuLjoMVf4B0s="}); // of "peer-secret"
    EXPECT_EQ(bindSimply(ld, {"hashed", "peer-secret"}), LDAP_SUCCESS);
    EXPECT_EQ(digestBind(ld, "hashed", "peer-secret"), LDAP_INVALID_CREDENTIALS);
    expectAnonymous(ld);
}

// Names stand between quotes as they are: these are read as other directives than were meant.
TEST_F(SaslBind, NamesThatBreakTheQuotesAreRefused) {
    for (const char *name : {R"(a"b)", R"(ada")", R"("ada)", R"(ada\)", R"(ada",username="ben)"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(digestBind(ld, name, "peer-secret"), LDAP_INVALID_CREDENTIALS);
        expectAnonymous(ld);
    }
}

// The server takes any host, since one server has many names.
TEST_F(SaslBind, HostIsNotChecked) {
    for (const char *host : {"", "localhost", "other.example:636", "a.example b.example:1",
                             "[2001:db8::1]:389", "2001:db8::1"}) {
        SCOPED_TRACE(host);
        LDAP *session = openSession(peer.uri);
        DigestBind bind(session);
        EXPECT_EQ(ldap_set_option(session, LDAP_OPT_HOST_NAME, host), LDAP_SUCCESS);
        EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SUCCESS);
        expectIs(session, person("ada"));
        ldap_unbind_ext_s(session, nullptr, nullptr);
    }
}

} // namespace
