#include "watch.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::text;
using wire::tlv;

constexpr const char *kStatus = "2.16.840.1.907341.1.27.101.40";
constexpr const char *kReference = "2.16.840.1.907341.1.1.5150.101.1";

wire::Response ask(InProcess &server, const wire::Search &search, const char *oid,
                   const std::string &value) {
    return server.ask(wire::search(search), wire::control(oid, true, &value));
}

TEST(ServerStatus, AnswersWhatWasAskedFor) {
    struct Case {
        std::string request;
        std::string response;
    };
    const Case cases[] = {
        {hex("300c 8001ff 8101ff 8201ff 8301ff"), hex("300c 800100 810105 820101 83012a")},
        {hex("3003 8001ff"), hex("3003 800100")},
        {hex("3006 8101ff 8301ff"), hex("3006 810105 83012a")},
        {hex("3009 800100 820101 830100"), hex("3003 820101")},
        {hex("3000"), hex("3000")},
        {hex("3009 8401ff 8501ff 8601ff"), hex("3000")},
        {hex("3084 00000003 8301ff"), hex("3003 83012a")},
    };
    InProcess server;
    server.directory.monitor.connections = 5;
    server.time += 42;
    for (const Case &c : cases) {
        const auto response = ask(server, {.base = kAda, .scope = 0}, kStatus, c.request);
        EXPECT_EQ(response.entries.size(), 1U);
        EXPECT_EQ(response.code, 0);
        EXPECT_EQ(response.controls, (std::vector<wire::Control>{{kStatus, c.response}}));
    }
}

TEST(ServerStatus, CountsPersistentSearchesWhileTheyLast) {
    InProcess server;
    const auto open = [&] {
        return ask(server, {.base = kAda, .scope = 0}, kStatus, hex("3003 8201ff"))
            .controls.at(0)
            .value;
    };
    {
        Watch one(server, {});
        Watch two(server, {}, {.changesOnly = false});
        EXPECT_EQ(open(), hex("3003 820103")) << "with the one that asks";
    }
    EXPECT_EQ(open(), hex("3003 820101"));
}

TEST(ServerStatus, MalformedValuesAreRefused) {
    std::vector<std::string> cases = {
        hex("3003 8701ff"), hex("3006 8101ff 8001ff"), hex("3006 8001ff 8001ff"),
        hex("3003 0101ff"), hex("3004 8002ffff"),      hex("3002 8000"),
        hex("3103 8001ff"), hex("3003 8001ff 00"),     "",
        hex("3083 ffffff")};
    const std::string good = hex("3006 8001ff 8301ff");
    for (std::size_t length = 0; length < good.size(); ++length)
        cases.push_back(good.substr(0, length));
    InProcess server;
    for (const std::string &value : cases)
        EXPECT_EQ(ask(server, {}, kStatus, value).code, 2) << value.size();
    EXPECT_EQ(server.ask(wire::search({}), wire::control(kStatus, true)).code, 2);
    EXPECT_EQ(server
                  .ask(wire::search({}),
                       wire::control(kStatus, true, &good) + wire::control(kStatus, true, &good))
                  .code,
              2);
}

/** The elements of the answer in the order of their tags. */
std::vector<wire::Element> reference(InProcess &server, const wire::Search &search) {
    const auto response = server.ask(wire::search(search), wire::control(kReference, true));
    EXPECT_EQ(response.controls.size(), 1U);
    EXPECT_EQ(response.controls.at(0).oid, kReference);
    const auto outer = wire::elements(response.controls.at(0).value);
    EXPECT_EQ(outer.at(0).tag, 0x31);
    auto parts = wire::elements(outer.at(0).content);
    EXPECT_EQ(parts.size(), 6U);
    for (std::size_t i = 0; i < parts.size(); ++i)
        EXPECT_EQ(parts[i].tag, 0x81 + i);
    return parts;
}

TEST(Reference, TellsWhereTheBaseLies) {
    const std::string servers = tlv(0x30, text(kServer1) + text(kServer2) + text(kServer3));
    struct Case {
        wire::Search search;
        std::string sent, root, count, servers, reference;
    };
    const Case cases[] = {
        {{.base = "ou=EMEA,dc=example,dc=com", .scope = 1},
         hex("50"),
         kEmea,
         hex("51"),
         servers,
         "ldap://host:1389/ou=emea,dc=example,dc=com"},
        {{.base = kAda, .scope = 0},
         hex("01"),
         kTop,
         hex("0085"),
         servers,
         "ldap://host:1389/cn=Ada%20Brandt,ou=people,dc=example,dc=com"},
        {{.base = kAda, .scope = 1},
         hex("00"),
         kTop,
         hex("0085"),
         servers,
         "ldap://host:1389/cn=Ada%20Brandt,ou=people,dc=example,dc=com"},
        {{.base = "", .scope = 0}, hex("01"), "", hex("00"), hex("3000"), "ldap://host:1389/"},
        {{.base = "cn=schema", .scope = 0},
         hex("01"),
         "",
         hex("00"),
         hex("3000"),
         "ldap://host:1389/cn=schema"},
    };
    InProcess server;
    server.directory.uri = "ldap://host:1389";
    for (const Case &c : cases) {
        const auto parts = reference(server, c.search);
        EXPECT_EQ(parts.at(0).content, c.search.base);
        EXPECT_EQ(parts.at(1).content, c.sent) << c.search.base;
        EXPECT_EQ(parts.at(2).content, c.root);
        EXPECT_EQ(parts.at(3).content, c.count) << c.search.base;
        EXPECT_EQ(parts.at(4).content, c.servers);
        EXPECT_EQ(parts.at(5).content, c.reference);
    }
}

TEST(Reference, WithoutAKnownAddress) {
    InProcess server;
    EXPECT_EQ(reference(server, {.base = kEmea, .scope = 0}).at(5).content,
              "ldap:///ou=emea,dc=example,dc=com");
}

TEST(Reference, ComesWithALimitedResultToo) {
    InProcess server;
    const auto parts = reference(server, {.sizeLimit = 7});
    EXPECT_EQ(parts.at(1).content, hex("07"));
}

TEST(Reference, TakesNoValueAndComesOnce) {
    InProcess server;
    const auto control = wire::control(kReference, true);
    EXPECT_EQ(ask(server, {}, kReference, "").code, 2);
    EXPECT_EQ(ask(server, {}, kReference, hex("3000")).code, 2);
    EXPECT_EQ(server.ask(wire::search({}), control + control).code, 2);
    EXPECT_EQ(server.ask(wire::compare(kAda, "cn", "x"), control).code, 12);
    const auto failed = server.ask(wire::search({.base = "cn=no,dc=example,dc=com"}), control);
    EXPECT_EQ(failed.code, 32);
    EXPECT_TRUE(failed.controls.empty());
}

TEST(ResultControls, ComeTogether) {
    InProcess server;
    const std::string status = hex("3003 8001ff");
    const auto response =
        server.ask(wire::search({.base = kEmea, .scope = 0}),
                   wire::control(kReference, false) + wire::control(kStatus, false, &status));
    ASSERT_EQ(response.controls.size(), 2U);
    EXPECT_EQ(response.controls[0].oid, kStatus);
    EXPECT_EQ(response.controls[1].oid, kReference);
}

} // namespace
