#include "system/operations.h"
#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

/** Every command against every way in which its server can fail. */
class FaultTest : public testing::TestWithParam<Operation> {
  protected:
    static constexpr int done = 0;

    static Result run(const std::string &fault, const Arguments &more = {"--json"}) {
        const Simulator simulator({"--fault", GetParam().name + "=" + fault});
        for (const Arguments &before : GetParam().before)
            EXPECT_EQ(simulator.administer(before).status, 0);
        Arguments all = GetParam().arguments;
        all.insert(all.end(), more.begin(), more.end());
        return simulator.administer(all);
    }

    /** The command ends as one that failed with this code, and prints nothing but the reason. */
    static void expectCode(const std::string &fault, int code, const Arguments &more = {"--json"}) {
        SCOPED_TRACE(fault);
        const Result result = run(fault, more);
        if (code == done) {
            EXPECT_EQ(result.status, 0);
            EXPECT_EQ(result.err, "");
            return;
        }
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.out.empty() || result.json() == Json::array()) << result.out;
        EXPECT_EQ(result.error()["code"], code);
        EXPECT_NE(result.error()["hint"], "");
    }

    static bool decodes() { return GetParam().value != Operation::Value::Ignored; }
    static bool isFilter() { return GetParam().value == Operation::Value::DecodedAny; }
    static int undecodable() { return isFilter() ? -4 : -3; }
};
INSTANTIATE_TEST_SUITE_P(All, FaultTest, testing::ValuesIn(operations()), operationCase);

TEST_P(FaultTest, ResponseOid) {
    expectCode("no-oid", -12);
    expectCode("oid:1.2.3", isFilter() ? done : -12);
}

TEST_P(FaultTest, NoValue) {
    expectCode("no-value", decodes() ? 1 : done);
}

TEST_P(FaultTest, BrokenValue) {
    for (const char *fault : {"truncate:0", "truncate:1", "truncate:2", "value:deadbeef",
                              "value:3084ffffffff", "value:30803080", "value:0484ffffffff41"})
        expectCode(fault, decodes() ? undecodable() : done);
}

TEST_P(FaultTest, Refusal) {
    expectCode("code:53:not today", 53);
    const Result text = run("code:53:not today", {});
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(text.err, HasSubstr("Server is unwilling to perform (53)"));
    EXPECT_THAT(text.err, HasSubstr("server says:  not today"));
    expectCode("code:32", 32);
    expectCode("code:80", 80);
}

TEST_P(FaultTest, UnknownCodesAreFailuresToo) {
    const Result result = run("code:4711:odd");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], 4711);
    EXPECT_EQ(result.error()["diagnostic"], "odd");
}

TEST_P(FaultTest, ConnectionEnds) {
    expectCode("drop", -1);
}

TEST_P(FaultTest, NoAnswerInTime) {
    expectCode("delay:10000", -5, {"--timeout", "1", "--json"});
}

TEST(Fault, LibrarysOwnRefusalIsNotTheServers) {
    const Simulator missing({"--fault", "partition-entry-count=no-value"});
    const Arguments count = {"partition", "count", "dc=example,dc=com"};
    EXPECT_THAT(missing.run(count).err, HasSubstr("without the value"));
    const Simulator refusing({"--fault", "partition-entry-count=code:1:broken"});
    EXPECT_THAT(refusing.run(count).err, HasSubstr("server says:  broken"));
    EXPECT_THAT(refusing.run(count).err, testing::Not(HasSubstr("without the value")));
}

TEST(Fault, EachNegativeCodeIsExplained) {
    const std::pair<const char *, const char *> cases[] = {
        {"no-oid", "no response OID"},
        {"value:04", "could not be understood"},
        {"drop", "ended the connection before it answered"},
        {"delay:9000", "--timeout"},
    };
    for (const auto &[fault, words] : cases) {
        const Simulator simulator({"--fault", std::string("get-bind-dn=") + fault});
        const Result result = simulator.run({"whoami", "--timeout", "1"});
        EXPECT_THAT(result.err, HasSubstr(words));
        EXPECT_EQ(result.out, "");
    }
}

TEST(Fault, AReplicaReportWithoutRoomForItsDnIsARefusal) {
    std::string value = "0201010201010201000201000201010482";
    value += "0303"; // a DN of 771 bytes
    for (int i = 0; i < 771; ++i)
        value += "41";
    value += "020100020100";
    const Simulator simulator({"--fault", "get-replica-info=value:" + value});
    const Arguments info = {"replica", "info", "dc=example,dc=com",
                            "cn=strata1,ou=servers,dc=example,dc=com"};
    const Result text = simulator.run(info);
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out, "");
    EXPECT_THAT(text.err, HasSubstr("770 bytes"));
    Arguments json = info;
    json.emplace_back("--json");
    EXPECT_EQ(simulator.run(json).error()["operation"], "replica info");
}

TEST(Fault, WhatAServerSendsDoesNotSteerTheTerminal) {
    // OCTET STRING: escape, "[31m", a byte that is no UTF-8
    const Simulator simulator({"--fault", "get-bind-dn=value:04061b5b33316dff"});
    EXPECT_EQ(simulator.run({"whoami"}).out, "\\x1b[31m\\xff\n");
    EXPECT_EQ(simulator.run({"whoami", "--json"}).json()["dn"], "\x1b[31m\xef\xbf\xbd");
}

TEST(Fault, AFilterWithAnEmptyNameIsNoFilter) {
    // SEQUENCE OF one class with an empty name and one attribute "a"
    const Simulator simulator({"--fault", "get-replication-filter=value:3009300704003003040161"});
    const Result result =
        simulator.administer({"filter", "get", "cn=strata1,ou=servers,dc=example,dc=com"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
}

} // namespace
} // namespace test
