#include "system/sasl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ostream>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char *challengeStep = "digest-md5-challenge", *proofStep = "digest-md5-proof";

/** A fault of the server, and what the tool makes of it. */
struct Fault {
    const char *step;
    const char *fault;
    int code;
    const char *reason;
};

void PrintTo(const Fault &fault, std::ostream *out) {
    *out << fault.step << "=" << fault.fault;
}

constexpr const char *noList = "none as RFC 2831 has it";
constexpr const char *impostor = "may be an impostor";

const Fault faults[] = {
    {challengeStep, "stale", 1009, "took too long"},
    {challengeStep, "no-nonce", 1008, "no nonce"},
    {challengeStep, "no-qop", 1006, "qop"},
    {challengeStep, "no-algorithm", 1010, "no algorithm"},
    {challengeStep, "nonce-twice", 1002, "twice"},
    {challengeStep, "qop:auth-int", 1006, "qop has no auth"},
    {challengeStep, "qop:auth,auth-conf", 1007, "without a cipher"},
    {challengeStep, "qop:auth auth-int", 1026, "comma is missing"},
    {challengeStep, "qop:auth,", 1027, "ends with a comma"},
    {challengeStep, "qop:auth;", 1030, "character"},
    {challengeStep, "algorithm:md5", 1003, "not md5-sess"},
    {challengeStep, "charset:iso-8859-1", 1004, "not utf-8"},
    {challengeStep, "maxbuf:0", 1001, "maxbuf"},
    {challengeStep, "text:stale=false,nonce=\"a\"", 1005, "not true"},
    {challengeStep, "text:=", 2, noList},
    {challengeStep, "value:00ff", 2, noList},
    {challengeStep, "no-value", 1006, "qop has no auth"},
    {challengeStep, "success", 2, "content without a proof"},
    {challengeStep, "nonce-size:5000", -9, "longer than 4096"},
    {challengeStep, "code:7:unknown mechanism", 7, "does not know DIGEST-MD5"},
    {challengeStep, "code:53:not today", 53, ""},
    {challengeStep, "drop", -1, "no connection"},
    {proofStep, "wrong-rspauth", 49, impostor},
    {proofStep, "upper-rspauth", 49, impostor},
    {proofStep, "empty-rspauth", 2, impostor},
    {proofStep, "long-rspauth", 49, impostor},
    {proofStep, "other-directive", 2, impostor},
    {proofStep, "text:=", 2, impostor},
    {proofStep, "no-value", 49, impostor},
    {proofStep, "code:49:wrong", 49, ""},
    {proofStep, "code:2:what", 2, ""},
    {proofStep, "code:14", 14, "more than DIGEST-MD5"},
    {proofStep, "code:80:no user", 80, ""},
    {proofStep, "drop", -1, "ended the connection during the bind"},
};

class SaslFault : public testing::TestWithParam<Fault> {};
INSTANTIATE_TEST_SUITE_P(All, SaslFault, testing::ValuesIn(faults));

TEST_P(SaslFault, IsToldInWords) {
    const Fault &fault = GetParam();
    const Simulator simulator({"--fault", std::string(fault.step) + "=" + fault.fault});
    const Arguments whoami = digestBind("admin", adminPassword, {"whoami", "--json"});
    const bool isAnswered = fault.fault != std::string("drop");
    const Result result =
        isAnswered ? simulator.run(whoami) : runTool(whoami, losingBind(simulator.uri()));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    const Json error = result.error();
    EXPECT_EQ(error["operation"], "bind");
    EXPECT_EQ(error["object"], "admin");
    EXPECT_EQ(error["code"], fault.code);
    EXPECT_THAT(error["reason"].get<std::string>(), HasSubstr(fault.reason));
    if (fault.reason == std::string()) {
        EXPECT_EQ(error["reason"], "");
    }
    EXPECT_NE(error["name"], "");
    EXPECT_THAT(error["name"].get<std::string>(), Not(HasSubstr("Unknown")));
    if (fault.code != 53) {
        EXPECT_NE(error["hint"], "");
    }
}

TEST(SaslFaults, ACutChallengeIsNoBind) {
    for (const char *bytes : {"0", "1", "7", "20", "40"}) {
        const Simulator simulator(
            {"--fault", std::string("digest-md5-challenge=truncate:") + bytes});
        EXPECT_EQ(simulator.run(digestBind("admin", adminPassword, {"whoami"})).status, 1);
    }
}

TEST(SaslFaults, ACutProofIsNoBind) {
    for (int bytes = 0; bytes < 40; bytes += 3) {
        const Simulator simulator(
            {"--fault", "digest-md5-proof=truncate:" + std::to_string(bytes)});
        const Result result =
            simulator.run(digestBind("admin", adminPassword, {"whoami", "--json"}));
        EXPECT_EQ(result.status, 1) << bytes;
        EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr(impostor));
    }
}

TEST(SaslFaults, WhatAClientCanDoWithoutIsNone) {
    for (const char *fault : {"no-charset", "maxbuf:65536", "qop:auth-int,auth", "realms:1"}) {
        const Simulator simulator({"--fault", std::string("digest-md5-challenge=") + fault});
        EXPECT_EQ(simulator.run(digestBind("admin", adminPassword, {"whoami"})).status, 0) << fault;
    }
}

TEST(SaslFaults, TheServersWordsAreShown) {
    const Simulator simulator({"--fault", "digest-md5-proof=code:49:go away"});
    const Result result = simulator.run(digestBind("admin", adminPassword, {"whoami"}));
    EXPECT_THAT(result.err, HasSubstr("server says:  go away"));
    EXPECT_THAT(result.err, Not(HasSubstr("impostor")));
}

TEST(SaslFaults, APasswordFileIsNotBlamedForTheServersProof) {
    const Simulator simulator(
        {"--admin-password", "secret\n", "--fault", "digest-md5-proof=wrong-rspauth"});
    const TemporaryFolder folder;
    const Result result = simulator.run({"whoami", "--json", "-Y", "DIGEST-MD5", "-U", "admin",
                                         "-y", folder.write("password", "secret\n")});
    EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr(impostor));
    EXPECT_THAT(result.error()["hint"].get<std::string>(), Not(HasSubstr("printf")));
}

TEST(SaslFaults, TheSessionsTimeoutCounts) {
    for (const char *step : {challengeStep, proofStep}) {
        const Simulator simulator({"--fault", std::string(step) + "=delay:20000"});
        const Result result =
            runTool(digestBind("admin", adminPassword, {"whoami", "--timeout", "1", "--json"}),
                    losingBind(simulator.uri()));
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.error()["code"], -5) << step;
        EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr("within 1 second"));
    }
}

TEST(SaslFaults, AServerThatDoesNotKnowSaslIsNamed) {
    const Simulator simulator({"--fault", "digest-md5-challenge=code:7:simple only"});
    const Result result = simulator.run(digestBind("admin", adminPassword, {"whoami"}));
    EXPECT_THAT(result.err, HasSubstr("Authentication method not supported (7)"));
    EXPECT_THAT(result.err, HasSubstr("bind with -D"));
}

} // namespace
} // namespace test
