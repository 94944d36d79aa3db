#include "in_process.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using wire::Search;

std::vector<std::string> names(const wire::Response &response) {
    std::vector<std::string> found;
    for (const wire::Values &attribute : response.entryAttributes.at(0))
        found.push_back(attribute.name);
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> valuesOf(const wire::Response &response, const std::string &name) {
    for (const wire::Values &attribute : response.entryAttributes.at(0))
        if (attribute.name == name)
            return attribute.values;
    return {};
}

TEST(SearchTest, Scopes) {
    InProcess server;
    const std::pair<Search, std::size_t> cases[] = {
        {{.base = kTop, .scope = 0}, 1},
        {{.base = kTop, .scope = 1}, 6},
        {{.base = kTop, .scope = 2}, 336},
        {{.base = kAda, .scope = 0}, 1},
        {{.base = kAda, .scope = 1}, 0},
        {{.base = kAda, .scope = 2}, 1},
        {{.base = "ou=SERVERS,dc=example,dc=com", .scope = 1}, 3},
        {{.base = "", .scope = 0}, 1},
        {{.base = "", .scope = 1}, 1},
        {{.base = "", .scope = 2}, 336},
        {{.base = "cn=monitor", .scope = 2}, 2},
        {{.base = "cn=schema", .scope = 0}, 1},
    };
    for (const auto &[search, count] : cases) {
        const auto response = server.ask(wire::search(search));
        EXPECT_EQ(response.op, 0x65);
        EXPECT_EQ(response.code, 0);
        EXPECT_EQ(response.entries.size(), count) << search.base << " " << int{search.scope};
    }
}

TEST(SearchTest, GivesEntriesFromTheTopAsTheyAreWritten) {
    InProcess server;
    const auto response =
        server.ask(wire::search({.base = "ou=servers,dc=example,dc=com", .scope = 2}));
    EXPECT_EQ(response.entries, (std::vector<std::string>{"ou=servers,dc=example,dc=com", kServer1,
                                                          kServer2, kServer3}));
}

TEST(SearchTest, EntryIsTheBytesOfTheStandard) {
    InProcess server;
    const std::string attribute =
        wire::tlv(0x30, wire::tlv(0x30, wire::text("l") + wire::tlv(0x31, wire::text("Berlin"))));
    EXPECT_EQ(server.raw(wire::message(
                  1, wire::search({.base = kServer1, .scope = 0, .attributes = {"l"}}))),
              wire::message(1, wire::tlv(0x64, wire::text(kServer1) + attribute)) +
                  wire::hex("300c 020101 6507 0a0100 0400 0400"));
}

TEST(SearchTest, Errors) {
    InProcess server;
    struct Case {
        Search search;
        int code;
        const char *matched;
    };
    const Case cases[] = {
        {{.base = "cn=x,ou=nowhere,dc=example,dc=com"}, 32, kTop},
        {{.base = "cn=x,ou=People,dc=example,dc=com"}, 32, "ou=people,dc=example,dc=com"},
        {{.base = "dc=org"}, 32, ""},
        {{.base = "cn=x,cn=monitor"}, 32, "cn=monitor"},
        {{.base = "nonsense"}, 34, ""},
        {{.scope = 3}, 2, ""},
        {{.sizeLimit = 255}, 2, ""}, // -1
    };
    for (const Case &c : cases) {
        const auto response = server.ask(wire::search(c.search));
        EXPECT_EQ(response.code, c.code) << c.search.base;
        EXPECT_EQ(response.matched, c.matched) << c.search.base;
        EXPECT_FALSE(response.diagnostic.empty());
        EXPECT_EQ(response.op, 0x65);
    }
}

TEST(SearchTest, SizeLimit) {
    InProcess server;
    const auto over = server.ask(wire::search({.sizeLimit = 3}));
    EXPECT_EQ(over.code, 4);
    EXPECT_EQ(over.entries.size(), 3U);
    const auto exact = server.ask(
        wire::search({.base = "ou=servers,dc=example,dc=com", .scope = 1, .sizeLimit = 3}));
    EXPECT_EQ(exact.code, 0);
    EXPECT_EQ(exact.entries.size(), 3U);
}

TEST(SearchTest, AttributeSelection) {
    InProcess server;
    const std::vector<std::string> user = {"cn", "description", "l", "objectClass"};
    const std::vector<std::string> operational = {
        "createTimestamp", "creatorsName",    "entryDN",
        "entryUUID",       "hasSubordinates", "modifiersName",
        "modifyTimestamp", "numSubordinates", "subschemaSubentry"};
    std::vector<std::string> all = user;
    all.insert(all.end(), operational.begin(), operational.end());
    std::sort(all.begin(), all.end());
    const std::pair<std::vector<std::string>, std::vector<std::string>> cases[] = {
        {{}, user},
        {{"*"}, user},
        {{"+"}, operational},
        {{"*", "+"}, all},
        {{"1.1"}, {}},
        {{"1.1", "CN"}, {"cn"}},
        {{"commonName", "entryuuid"}, {"cn", "entryUUID"}},
        {{"2.5.4.7"}, {"l"}},
        {{"mail"}, {}},
        {{"no such name"}, {}},
    };
    for (const auto &[asked, expected] : cases) {
        const auto response =
            server.ask(wire::search({.base = kServer1, .scope = 0, .attributes = asked}));
        ASSERT_EQ(response.entries.size(), 1U);
        EXPECT_EQ(names(response), expected) << (asked.empty() ? "nothing" : asked[0]);
    }
}

TEST(SearchTest, TypesOnly) {
    InProcess server;
    const auto response = server.ask(
        wire::search({.base = kServer1, .scope = 0, .attributes = {"cn"}, .typesOnly = true}));
    EXPECT_EQ(names(response), std::vector<std::string>{"cn"});
    EXPECT_TRUE(valuesOf(response, "cn").empty());
}

TEST(SearchTest, PasswordsAreNeverGiven) {
    InProcess server;
    server.bindAdmin();
    for (const char *asked : {"userPassword", "*", "2.5.4.35"}) {
        const auto response =
            server.ask(wire::search({.base = kAda, .scope = 0, .attributes = {asked}}));
        EXPECT_TRUE(valuesOf(response, "userPassword").empty());
    }
    EXPECT_EQ(server.ask(wire::search({.filter = wire::equality("userPassword", "changeme")}))
                  .entries.size(),
              0U);
}

TEST(SearchTest, RootDseSaysWhatIsServed) {
    InProcess server;
    const auto response =
        server.ask(wire::search({.base = "", .scope = 0, .attributes = {"*", "+"}}));
    ASSERT_EQ(response.entries, std::vector<std::string>{""});
    EXPECT_EQ(valuesOf(response, "namingContexts"), std::vector<std::string>{kTop});
    EXPECT_EQ(valuesOf(response, "supportedLDAPVersion"), std::vector<std::string>{"3"});
    EXPECT_EQ(valuesOf(response, "vendorName"), std::vector<std::string>{"Strata simulator"});
    EXPECT_FALSE(valuesOf(response, "vendorVersion").empty());
    EXPECT_EQ(valuesOf(response, "subschemaSubentry"), std::vector<std::string>{"cn=schema"});
    EXPECT_EQ(valuesOf(response, "supportedControl"),
              (std::vector<std::string>{"2.16.840.1.113730.3.4.2", "2.16.840.1.113730.3.4.3",
                                        "2.16.840.1.113730.3.4.18", "2.16.840.1.907341.1.27.101.33",
                                        "2.16.840.1.907341.1.27.101.40",
                                        "2.16.840.1.907341.1.1.5150.101.1"}));
    std::vector<std::string> oids = {"1.3.6.1.4.1.4203.1.11.3", "2.16.840.1.907341.1.142.100.1",
                                     "2.16.840.1.907341.1.142.100.4",
                                     "2.16.840.1.907341.1.142.100.6"};
    for (const int number : {1,  3,  5,  7,  9,  11, 13, 15, 17, 19, 21, 23, 25, 27, 29,  31, 33,
                             35, 37, 39, 41, 43, 47, 49, 51, 53, 55, 79, 84, 96, 98, 101, 103})
        oids.push_back(wire::strataOid(number));
    std::sort(oids.begin(), oids.end());
    auto served = valuesOf(response, "supportedExtension");
    std::sort(served.begin(), served.end());
    EXPECT_EQ(served, oids);
}

TEST(SearchTest, MonitorCounts) {
    InProcess server;
    server.time += 7;
    server.ask(wire::search({.base = kTop, .scope = 1}));
    const auto response =
        server.ask(wire::search({.base = "cn=monitor", .scope = 0, .attributes = {}}));
    EXPECT_EQ(valuesOf(response, "uptimeSeconds"), std::vector<std::string>{"7"});
    EXPECT_EQ(valuesOf(response, "operations"), std::vector<std::string>{"2"});
    EXPECT_EQ(valuesOf(response, "entriesSent"), std::vector<std::string>{"6"});
}

TEST(SearchTest, TooDeepFilterIsRefusedAndTheConnectionGoesOn) {
    InProcess server;
    std::string filter = wire::present("cn");
    for (int i = 0; i < 20000; ++i)
        filter = wire::tlv(0xa2, filter);
    EXPECT_EQ(server.code(wire::search({.filter = filter})), 2);
    EXPECT_FALSE(server.closed);
}

TEST(SearchTest, GoesOnWhenEntriesComeAndGoMeanwhile) {
    InProcess server;
    server.bindAdmin();
    const std::string request =
        wire::message(9, wire::search({.base = "ou=servers,dc=example,dc=com", .scope = 2}));
    stratasim::Outcome outcome =
        server.dispatcher.handle(server.connection, stratasim::asBytes(request));
    ASSERT_TRUE(outcome.open);
    std::string out;
    outcome.open->produce(out, 1); // one entry, the top
    outcome.open->produce(out, 1); // strata1
    ASSERT_EQ(wire::elements(out).size(), 2U);
    const char *added = "cn=printer,ou=servers,dc=example,dc=com";
    EXPECT_EQ(server.code(wire::add(added, {{"objectClass", {"top"}}, {"cn", {"printer"}}})), 0);
    server.extended(11, wire::number(0) + wire::text(kServer2) + wire::text(kTop));
    for (const char *partition :
         {kEmea, "ou=apac,dc=example,dc=com", "ou=americas,dc=example,dc=com"})
        server.extended(11, wire::number(0) + wire::text(kServer2) + wire::text(partition));
    EXPECT_EQ(server.code(wire::remove(kServer2)), 0);
    while (outcome.open->produce(out, 1) == stratasim::OpenOperation::Progress::More)
        continue;
    const auto response = wire::parse(out);
    EXPECT_EQ(response.entries, (std::vector<std::string>{"ou=servers,dc=example,dc=com", kServer1,
                                                          kServer3, added}));
}

TEST(SearchTest, TimeLimitEndsASearchThatIsNotRead) {
    InProcess server;
    std::string op = wire::search({});
    // timeLimit is the second INTEGER after the three-byte scope, derefAliases and sizeLimit.
    const std::size_t at = 2 + wire::text(kTop).size() + 3 * 3 + 2 + (op[1] == '\x84' ? 4 : 0);
    ASSERT_EQ(op.substr(at - 2, 3), wire::number(0));
    op[at] = 1;
    const std::string request = wire::message(9, op);
    auto outcome = server.dispatcher.handle(server.connection, stratasim::asBytes(request));
    timespec pause{1, 100000000};
    nanosleep(&pause, nullptr);
    std::string out;
    EXPECT_EQ(outcome.open->produce(out, 1000), stratasim::OpenOperation::Progress::Done);
    EXPECT_EQ(wire::parse(out).code, 3);
}

} // namespace
