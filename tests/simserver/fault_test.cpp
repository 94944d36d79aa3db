#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::text;

/** The answer to an entry count of 81 when these faults are set. */
wire::Response answer(InProcess &server, const std::vector<std::string> &faults) {
    for (const std::string &fault : faults)
        EXPECT_EQ(server.faults.add(fault), "") << fault;
    return server.extended(13, text(kEmea));
}

TEST(FaultTest, DistortsTheAnswer) {
    struct Case {
        std::vector<std::string> faults;
        int code;
        std::string oid;
        std::string value;
    };
    const std::string count = hex("020151");
    const std::string oid = wire::strataOid(14);
    const Case cases[] = {
        {{}, 0, oid, count},
        {{"refresh-server=no-oid"}, 0, oid, count},
        {{"partition-entry-count=no-oid"}, 0, "none", count},
        {{wire::strataOid(13) + "=no-oid"}, 0, "none", count},
        {{"partition-entry-count=oid:1.2.3"}, 0, "1.2.3", count},
        {{"partition-entry-count=no-value"}, 0, oid, "none"},
        {{"partition-entry-count=truncate:2"}, 0, oid, hex("0201")},
        {{"partition-entry-count=truncate:0"}, 0, oid, ""},
        {{"partition-entry-count=truncate:99"}, 0, oid, count},
        {{"partition-entry-count=value:0402ffFE"}, 0, oid, hex("0402fffe")},
        {{"partition-entry-count=value:"}, 0, oid, ""},
        {{"partition-entry-count=code:53"}, 53, oid, "none"},
        {{"partition-entry-count=oid:1.2", "partition-entry-count=no-value"}, 0, "1.2", "none"},
    };
    for (const Case &c : cases) {
        InProcess server;
        const auto response = answer(server, c.faults);
        EXPECT_EQ(response.code, c.code);
        EXPECT_EQ(response.oid, c.oid);
        EXPECT_EQ(response.value, c.value);
    }
}

TEST(FaultTest, CodeComesWithItsTextAndNothingIsDone) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.faults.add("refresh-server=code:51:come back: later"), "");
    const auto response = server.extended(9);
    EXPECT_EQ(response.code, 51);
    EXPECT_EQ(response.diagnostic, "come back: later");
    EXPECT_TRUE(server.directory.monitor.triggers.empty());
}

TEST(FaultTest, DelayAndDropAreForTheSession) {
    InProcess server;
    answer(server, {"partition-entry-count=delay:250", "partition-entry-count=drop"});
    EXPECT_FALSE(server.last.cut);
    EXPECT_EQ(server.last.delay, std::chrono::milliseconds(250));
    EXPECT_TRUE(server.last.drop);
}

TEST(FaultTest, CutIsForTheSession) {
    InProcess server;
    EXPECT_EQ(answer(server, {"partition-entry-count=cut"}).value, hex("020151"));
    EXPECT_TRUE(server.last.cut);
    EXPECT_FALSE(server.last.drop);
}

TEST(FaultTest, HandshakesAreCounted) {
    using Handshake = stratasim::Fault::Handshake;
    InProcess server;
    EXPECT_EQ(server.faults.add("tls-handshake@2=silent"), "");
    EXPECT_EQ(server.faults.add("tls-handshake@3=garbage"), "");
    EXPECT_EQ(server.faults.add("tls-handshake@4+=closed"), "");
    EXPECT_EQ(server.faults.add("tls-handshake@5=delay:20"), "");
    for (const Handshake kind :
         {Handshake::Kept, Handshake::Silent, Handshake::Garbage, Handshake::Closed})
        EXPECT_EQ(server.dispatcher.nextHandshake().handshake, kind);
    EXPECT_EQ(server.dispatcher.nextHandshake().delay, std::chrono::milliseconds(20));
}

TEST(FaultTest, AnswersWithoutAValueStayWithoutOne) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.faults.add("refresh-server=truncate:1"), "");
    EXPECT_EQ(server.extended(9).value, "none");
}

TEST(FaultTest, BadOnesAreExplained) {
    const std::pair<const char *, const char *> cases[] = {
        {"refresh-server", "write OPERATION[@N]=KIND[:VALUE]"},
        {"no-such=drop", "there is no operation \"no-such\": see --list-operations"},
        {"refresh-server=", "\"\" is no kind of fault"},
        {"refresh-server=explode", "\"explode\" is no kind of fault"},
        {"refresh-server=drop:1", "\"drop:1\" is no kind"},
        {"refresh-server=oid", "\"oid\" is no kind"},
        {"refresh-server=value:0", "\"value:0\" is no kind"},
        {"refresh-server=truncate:-1", "\"truncate:-1\" is no kind"},
        {"refresh-server=code:x", "\"code:x\" is no kind"},
        {"refresh-server=cut:1", "\"cut:1\" is no kind"},
        {"refresh-server=silent", "\"silent\" is no kind"},
        {"tls-handshake=drop", "there are delay:MS, silent, closed, garbage for tls-handshake"},
        {"digest=drop", "there are also digest-md5-challenge, digest-md5-proof and tls-handshake"},
        {"refresh-server=delay:99999999", "\"delay:99999999\" is no kind"},
    };
    for (const auto &[fault, problem] : cases) {
        stratasim::Faults faults;
        EXPECT_NE(faults.add(fault).find(problem), std::string::npos) << faults.add(fault);
    }
}

} // namespace
