#include "events.h"
#include "watch.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using wire::hex;
using wire::number;
using wire::tlv;

std::string retitle(const char *dn, const std::string &title) {
    return wire::modify(dn, {{2, {"title", {title}}}});
}

class EventMonitorTest : public testing::Test {
  protected:
    EventMonitorTest() { server_.bindAdmin(); }

    wire::Response ask(const std::string &value, int operation = kMonitor) {
        return server_.extended(operation, value);
    }

    InProcess server_;
};

TEST_F(EventMonitorTest, AnswersWithWhatItAccepts) {
    const struct {
        std::vector<Wanted> wanted;
        std::string accepted; // content of the SET
        std::uint8_t count;
    } cases[] = {
        {{{1}}, hex("3006 020101 0a0100"), 1},
        {{{3, 1}, {36, 2}}, hex("3006 020103 0a0101 3006 020124 0a0102"), 2},
        {{{1}, {100}, {2}}, hex("3006 020101 0a0100 3006 020102 0a0100"), 2}, // none is 100
        {{{1}, {2, 3}, {3, 255}}, hex("3006 020101 0a0100"), 1},              // no such results
        {{{1}, {1}, {1, 2}}, hex("3006020101 0a01003006020101 0a01003006020101 0a0102"), 3},
    };
    for (const bool filtered : {false, true}) {
        for (const auto &c : cases) {
            Monitored monitor(server_, c.wanted, filtered);
            EXPECT_TRUE(monitor.isOpen());
            EXPECT_EQ(monitor.first().op, 0x78);
            EXPECT_EQ(monitor.first().code, 0);
            EXPECT_EQ(monitor.first().oid, wire::strataOid(80));
            EXPECT_EQ(monitor.first().value, tlv(0x30, number(c.count) + tlv(0x31, c.accepted)));
        }
    }
}

TEST_F(EventMonitorTest, LongFormsOfLengthsAreRead) {
    const auto good =
        ask(hex("308400000019 02020001 31840000000f 308400000009 020300 0001 0a020000"));
    EXPECT_EQ(good.code, 0) << good.diagnostic;
    EXPECT_EQ(good.value, hex("300d 020101 3108 3006 020101 0a0100"));
}

TEST_F(EventMonitorTest, RefusesWhatItHasNot) {
    for (const std::vector<Wanted> &wanted :
         {std::vector<Wanted>{}, {{0}}, {{37}}, {{1, 3}}, {{200}, {255}}}) {
        Monitored monitor(server_, wanted);
        EXPECT_FALSE(monitor.isOpen());
        EXPECT_EQ(monitor.first().code, 53);
        EXPECT_EQ(monitor.first().oid, wire::strataOid(80));
        EXPECT_EQ(monitor.first().value, "none");
        EXPECT_NE(monitor.first().diagnostic.find("--list-events"), std::string::npos);
    }
}

TEST_F(EventMonitorTest, NeedsTheRightToAdminister) {
    const std::string value = hex("300d 020101 3108 3006 020101 0a0100");
    for (const char *dn : {"", kAda}) {
        server_.bindAs(dn, *dn != '\0' ? "changeme" : "");
        const auto response = ask(value);
        EXPECT_EQ(response.code, 50);
        EXPECT_EQ(response.oid, wire::strataOid(80));
        EXPECT_EQ(response.value, "none");
        EXPECT_EQ(server_.last.open, nullptr);
        EXPECT_EQ(server_.ask(registration({{1, 0, ""}}, true)).code, 50);
    }
    // Who acts as somebody else has only the other's rights.
    server_.bindAdmin();
    const std::string proxied = std::string("dn:") + kAda;
    const std::string as = wire::control("2.16.840.1.113730.3.4.18", true, &proxied);
    EXPECT_EQ(server_.ask(registration({{1}}), as).code, 50);
    const std::string itself = std::string("dn:") + kAdmin;
    const std::string asItself = wire::control("2.16.840.1.113730.3.4.18", true, &itself);
    EXPECT_EQ(server_.ask(registration({{1}}), asItself).code, 0);
}

TEST_F(EventMonitorTest, MalformedValuesAreRefused) {
    const std::string plain = hex("300d 020101 3108 3006 020101 0a0100");
    const std::string filtered = hex("3012 020101 310d 300b 020101 0a0100 0403613d62");
    std::vector<std::pair<int, std::string>> cases;
    for (const auto &[operation, good] :
         {std::pair{kMonitor, plain}, {kMonitorFiltered, filtered}}) {
        EXPECT_EQ(ask(good, operation).code, 0);
        for (std::size_t length = 0; length < good.size(); ++length)
            cases.emplace_back(operation, good.substr(0, length));
        cases.emplace_back(operation, good + "x");
        for (std::size_t at = 0; at < good.size(); ++at)
            if (const char tag = good[at]; tag == '\x30' || tag == '\x31' || tag == '\x02')
                cases.emplace_back(operation, std::string(good).replace(at, 1, "\x05"));
    }
    const std::pair<int, const char *> more[] = {
        {kMonitor, "300d 0201ff 3108 3006 020101 0a0100"},       // a count of -1
        {kMonitor, "300d 020100 3108 3006 020101 0a0100"},       // too small a count
        {kMonitor, "3010 020440000000 3108 3006 020101 0a0100"}, // a count of 2^30
        {kMonitor, "3011 02057fffffffff 3108 3006 020101 0a0100"},
        {kMonitor, "3006 02047fffffff"},
        {kMonitor, "300d 020101 3108 3006 020101 020100"},         // no ENUMERATED
        {kMonitor, "300d 020101 3108 3006 0a0101 0a0100"},         // no INTEGER
        {kMonitor, "300f 020101 310a 3008 020101 0a0100 0400"},    // a filter where there is none
        {kMonitorFiltered, "300d 020101 3108 3006 020101 0a0100"}, // none where there is one
        {kMonitorFiltered, "300f 020101 310a 3008 020101 0a0100 0500"},
        {kMonitor, "3084ffffffff"},
        {kMonitor, "308000000000"},
        {kMonitor, "3012 020101 310d 300b 02060101010101010a0100"},
    };
    for (const auto &[operation, digits] : more)
        cases.emplace_back(operation, hex(digits));
    for (const auto &[operation, value] : cases) {
        const auto response = ask(value, operation);
        EXPECT_EQ(response.code, 2) << operation << " " << testing::PrintToString(value);
        EXPECT_EQ(response.oid, wire::strataOid(80));
        EXPECT_EQ(response.value, "none");
        EXPECT_EQ(server_.last.open, nullptr);
        EXPECT_FALSE(server_.closed);
    }
    EXPECT_EQ(server_.extended(kMonitor).code, 2) << "without a value";
    EXPECT_FALSE(server_.directory.events.isMonitored());
}

TEST_F(EventMonitorTest, ABadFilterIsNamedWithItsPlace) {
    const auto response =
        server_.ask(registration({{1, 0, "(string1=a)"}, {100, 0, "(&(string1=a)(b)"}}, true));
    EXPECT_EQ(response.code, 2);
    EXPECT_NE(response.diagnostic.find("\"(&(string1=a)(b)\" is wrong at byte 16"),
              std::string::npos)
        << response.diagnostic;
}

TEST_F(EventMonitorTest, ReportsWhatIsAskedForAndNothingElse) {
    Monitored monitor(server_, {{3}});
    server_.code(retitle(kAda, "x"));
    server_.code(wire::search({}));
    const auto response = monitor.look();
    EXPECT_EQ(response.id, 9);
    EXPECT_EQ(response.op, 0x79);
    ASSERT_EQ(response.events.size(), 1U);
    EXPECT_EQ(response.code, -1) << "there is no result";
    EXPECT_TRUE(monitor.events().empty()) << "each event once";
    EXPECT_TRUE(monitor.isOpen());
}

TEST_F(EventMonitorTest, AnEventComesOnceHoweverManySpecificationsItMeets) {
    Monitored monitor(server_, {{3}, {3, 1}, {3, 2}, {1}});
    server_.code(retitle(kAda, "x"));
    EXPECT_EQ(monitor.events().size(), 1U);
}

TEST_F(EventMonitorTest, ResultsAreTold) {
    Monitored any(server_, {{17}});
    Monitored good(server_, {{17, 1}});
    Monitored bad(server_, {{17, 2}});
    EXPECT_EQ(server_.code(retitle(kAda, "x")), 0);
    EXPECT_EQ(any.events().size(), 1U);
    EXPECT_EQ(good.events().size(), 1U);
    EXPECT_EQ(bad.events().size(), 0U);
    EXPECT_EQ(server_.code(retitle("cn=none,dc=example,dc=com", "x")), 32);
    EXPECT_EQ(any.events().size(), 1U);
    EXPECT_EQ(good.events().size(), 0U);
    EXPECT_EQ(bad.events().size(), 1U);
    Monitored compared(server_, {{18, 1}});
    EXPECT_EQ(server_.code(wire::compare(kAda, "cn", "Ada Brandt")), 6);
    EXPECT_EQ(server_.code(wire::compare(kAda, "cn", "x")), 5);
    EXPECT_EQ(server_.code(wire::compare("cn=none", "cn", "x")), 32);
    EXPECT_EQ(compared.events().size(), 2U) << "true and false are both no failure";
}

TEST_F(EventMonitorTest, AbandonedItHearsNothingMore) {
    Monitored monitor(server_, {{3}});
    Monitored other(server_, {{3}});
    monitor.end();
    server_.code(retitle(kAda, "x"));
    EXPECT_EQ(other.events().size(), 1U);
    other.end();
    EXPECT_FALSE(server_.directory.events.isMonitored());
    server_.code(retitle(kAda, "y"));
}

TEST_F(EventMonitorTest, NothingIsMadeForNobody) {
    const auto everything = [this] {
        server_.code(wire::search({}));
        server_.code(retitle(kAda, "x"));
        server_.code(wire::compare(kAda, "cn", "x"));
        server_.code(wire::add("cn=N,dc=example,dc=com",
                               {{"objectClass", {"person"}}, {"cn", {"N"}}, {"sn", {"N"}}}));
        server_.code(wire::rename("cn=N,dc=example,dc=com", "cn=M", true));
        server_.code(wire::remove("cn=M,dc=example,dc=com"));
        server_.extended(43);
        server_.extended(31);
        server_.bindAdmin();
    };
    everything();
    EXPECT_EQ(server_.directory.events.made(), 0U);
    Monitored other(server_, {{25}});
    everything();
    EXPECT_EQ(server_.directory.events.made(), 0U);
    Monitored one(server_, {{4}});
    Monitored two(server_, {{4}});
    everything();
    EXPECT_EQ(server_.directory.events.made(), 1U) << "once, however many take it";
    EXPECT_EQ(one.events().size() + two.events().size(), 2U);
}

TEST_F(EventMonitorTest, WakesWhoeverWaits) {
    Monitored monitor(server_, {{3}});
    int woken = 0;
    monitor.operation().onReady([&] { ++woken; });
    server_.code(wire::search({}));
    EXPECT_EQ(woken, 0);
    server_.code(retitle(kAda, "x"));
    EXPECT_EQ(woken, 1);
}

TEST_F(EventMonitorTest, WhenTheQueueIsFullTheRegistrationEnds) {
    server_.directory.events.queueBytes = 1000;
    Monitored slow(server_, {{3}});
    Monitored quick(server_, {{3}});
    std::size_t heard = 0;
    for (int i = 0; i < 20; ++i) {
        server_.code(retitle(kAda, std::string(1, static_cast<char>('a' + i))));
        heard += quick.events().size();
    }
    EXPECT_EQ(heard, 20U);
    const auto last = slow.look();
    EXPECT_GT(last.events.size(), 2U);
    EXPECT_LT(last.events.size(), 10U);
    EXPECT_EQ(last.code, 51);
    EXPECT_EQ(last.op, 0x78);
    EXPECT_EQ(last.id, 9);
    EXPECT_EQ(last.oid, wire::strataOid(80));
    EXPECT_EQ(last.value, "none");
    EXPECT_NE(last.diagnostic.find("1000 bytes"), std::string::npos) << last.diagnostic;
    EXPECT_NE(last.diagnostic.find(std::to_string(last.events.size()) + " events were delivered"),
              std::string::npos)
        << last.diagnostic;
    EXPECT_FALSE(slow.isOpen());
    server_.code(retitle(kAda, "z"));
    EXPECT_EQ(quick.events().size(), 1U);
    // What was delivered has no gap: the events' change numbers follow each other.
    for (std::size_t i = 1; i < last.events.size(); ++i)
        EXPECT_NE(last.events[i], last.events[i - 1]);
}

TEST_F(EventMonitorTest, OneLargeEventIsSentAllTheSame) {
    server_.directory.events.queueBytes = 1000;
    Monitored monitor(server_, {{5}});
    EXPECT_EQ(server_.code(retitle(kAda, std::string(5000, 'x'))), 0);
    const auto events = monitor.events();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_GT(events[0].size(), 5000U);
    EXPECT_TRUE(monitor.isOpen());
}

TEST_F(EventMonitorTest, TheirNumberIsBoundedTogetherWithThePersistentSearches) {
    server_.connection.watches = 999;
    EXPECT_EQ(ask(hex("300d 020101 3108 3006 020101 0a0100")).code, 0);
    auto open = std::move(server_.last.open);
    const auto response = ask(hex("300d 020101 3108 3006 020101 0a0100"));
    EXPECT_EQ(response.code, 11);
    EXPECT_EQ(response.oid, wire::strataOid(80));
    Watch watch(server_, {});
    EXPECT_EQ(watch.first().code, 11);
    open.reset();
    EXPECT_EQ(server_.connection.watches, 999U);
    EXPECT_EQ(ask(hex("300d 020101 3108 3006 020101 0a0100")).code, 0);
    server_.last.open.reset();
    server_.connection.watches = 0;
}

TEST_F(EventMonitorTest, TheNumberOfSpecificationsIsBounded) {
    const std::string one = hex("3006 020101 0a0100");
    for (const auto &[count, code] : {std::pair{1000, 0}, {1001, 11}}) {
        std::string list;
        for (int i = 0; i < count; ++i)
            list += one;
        const std::string announced = {static_cast<char>(count >> 8), static_cast<char>(count)};
        EXPECT_EQ(ask(tlv(0x30, tlv(0x02, announced) + tlv(0x31, list))).code, code);
    }
}

TEST_F(EventMonitorTest, TheRootDseListsTheOperations) {
    const auto response =
        server_.ask(wire::search({.base = "", .scope = 0, .attributes = {"supportedExtension"}}));
    const auto &values = response.entryAttributes.at(0).at(0).values;
    for (const int operation : {kMonitor, kMonitorFiltered})
        EXPECT_EQ(std::count(values.begin(), values.end(), wire::strataOid(operation)), 1);
}

TEST_F(EventMonitorTest, FaultsSpoilTheAnswer) {
    EXPECT_EQ(server_.faults.add("monitor-events=code:80:no"), "");
    EXPECT_EQ(server_.faults.add("monitor-events-filtered=truncate:5"), "");
    const auto failed = server_.ask(registration({{3}}));
    EXPECT_EQ(failed.code, 80);
    EXPECT_EQ(server_.last.open, nullptr);
    Monitored monitor(server_, {{3}}, true);
    EXPECT_EQ(monitor.first().value, hex("300d020101"));
    server_.code(retitle(kAda, "x"));
    EXPECT_EQ(monitor.events().size(), 1U) << "the registration itself is good";
}

} // namespace
