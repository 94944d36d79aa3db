#include "lburp_fixture.h"

namespace {

using lburp::ids;
using wire::message;
using Ids = std::vector<int>;

constexpr int kEnd = 50;

/** Requests that succeed in the order of their numbers only. */
std::string request(int number) {
    const std::string steps[] = {lburp::add("a"), lburp::rename(lburp::dn("a"), "cn=b", kTop),
                                 wire::remove(lburp::dn("b")), lburp::add("c")};
    return lburp::operations(static_cast<std::uint8_t>(number), {steps[number - 1]});
}

/** Their message ids are their numbers. */
std::string requests(const std::vector<int> &numbers) {
    std::string all;
    for (const int number : numbers)
        all += number > kEnd ? message(kEnd, lburp::end(static_cast<std::uint8_t>(number - kEnd)))
                             : message(static_cast<std::uint8_t>(number), request(number));
    return all;
}

TEST_F(LburpTest, WhatArrivesEarlyWaitsForItsTurn) {
    const struct {
        std::vector<int> sent;
        Ids answered;
    } cases[] = {
        {{1, 2, 3}, {1, 2, 3}},
        {{2, 3, 1}, {1, 2, 3}},
        {{3, 2, 1}, {1, 2, 3}},
        {{1, 3, 2}, {1, 2, 3}},
        {{4, 2, 1, 3}, {1, 2, 3, 4}},
        {{4, 2, 1}, {1, 2}},
        {{2, 3}, {}},
        {{3, 2, 1, kEnd + 3}, {1, 2, 3, kEnd}},
        {{1, 2, kEnd + 2}, {1, 2, kEnd}},
    };
    for (const auto &c : cases) {
        InProcess server;
        LocalClient client(server, 1);
        client.bindAdmin();
        EXPECT_EQ(client.ask(lburp::start()).code, 0);
        const auto responses = client.send(requests(c.sent));
        EXPECT_EQ(ids(responses), c.answered) << testing::PrintToString(c.sent);
        for (const wire::Response &response : responses)
            EXPECT_EQ(response.code, 0) << response.id << ": " << response.diagnostic;
    }
}

TEST_F(LburpTest, AnswersComeWhenTheGapCloses) {
    start();
    EXPECT_EQ(ids(client_.send(requests({3}))), Ids{});
    EXPECT_EQ(ids(client_.send(requests({2}))), Ids{});
    EXPECT_FALSE(isThere("a"));
    EXPECT_EQ(ids(client_.send(message(9, wire::extended(wire::strataOid(31))))), Ids{9})
        << "other requests go on";
    EXPECT_EQ(ids(client_.send(requests({1}))), (Ids{1, 2, 3}));
    EXPECT_EQ(ask(lburp::end(3)), 0);
}

struct Refusal {
    std::string op;
    const char *diagnostic;
};

void expectRefused(LocalClient &client, const Refusal &refusal) {
    const auto response = client.ask(refusal.op);
    EXPECT_EQ(response.code, 1) << refusal.diagnostic;
    EXPECT_EQ(response.diagnostic, refusal.diagnostic);
    EXPECT_EQ(response.value, "none");
}

TEST_F(LburpTest, NothingGoesWithoutAStart) {
    const char *expected = "no bulk update is open: a start request is expected first";
    for (const std::string &op : {request(1), lburp::operations(2, {}), lburp::end(0)})
        expectRefused(client_, {op, expected});
    start();
    EXPECT_EQ(ask(lburp::end(0)), 0);
    for (const std::string &op : {request(1), lburp::end(0)})
        expectRefused(client_, {op, expected});
    EXPECT_FALSE(isThere("a"));
}

TEST_F(LburpTest, ASecondStartLeavesTheFirstOpen) {
    start();
    EXPECT_EQ(ask(request(1)), 0);
    expectRefused(client_,
                  {lburp::start(), "a bulk update is open already: its end is expected first"});
    EXPECT_EQ(ask(request(2)), 0);
    EXPECT_EQ(ask(lburp::end(2)), 0);
}

TEST_F(LburpTest, NumbersThatHaveNoPlace) {
    start();
    EXPECT_EQ(ask(request(1)), 0);
    EXPECT_EQ(ids(client_.send(message(3, lburp::operations(3, {})))), Ids{});
    const Refusal refusals[] = {
        {request(1), "operation request 1 was there already: 2 is expected"},
        {request(3), "operation request 3 was there already: 2 is expected"},
        {lburp::operations(0, {}),
         "operation request 0 is none, numbers begin at 1: 2 is expected"},
        {lburp::operations(0xff, {}),
         "operation request -1 is none, numbers begin at 1: 2 is expected"},
        {lburp::end(3), "operation request 2 is missing: it is expected before the end"},
        {lburp::end(1), "operation request 2 is missing: it is expected before the end"},
    };
    for (const Refusal &refusal : refusals)
        expectRefused(client_, refusal);
    EXPECT_EQ(ids(client_.send(requests({2}))), (Ids{2, 3})) << "the client can mend it";
    const std::pair<std::uint8_t, const char *> wrong[] = {
        {0, "0"}, {2, "2"}, {4, "4"}, {0xff, "-1"}};
    for (const auto &[last, name] : wrong) {
        const std::string diagnostic = "the end names operation request " + std::string(name) +
                                       " as the last one: 3 is expected";
        expectRefused(client_, {lburp::end(last), diagnostic.c_str()});
    }
    EXPECT_EQ(ask(lburp::end(3)), 0);
}

TEST_F(LburpTest, AnEndThatHasToWaitClosesTheList) {
    start();
    // What is released is served later, one at a time: the rest comes before it.
    EXPECT_EQ(ids(client_.sendOnly(requests({2, 3, 1, kEnd + 3}))), (Ids{1, 2}));
    const auto twice = client_.sendOnly(message(60, lburp::end(3)));
    EXPECT_EQ(ids(twice), (Ids{60, 3}));
    EXPECT_EQ(twice.at(0).code, 1);
    EXPECT_EQ(twice.at(0).diagnostic,
              "the end was there already: it waits for the operation requests before it");
    const auto late = client_.send(message(61, request(4)));
    EXPECT_EQ(ids(late), (Ids{61, kEnd}));
    EXPECT_EQ(late.at(0).code, 1);
    EXPECT_EQ(late.at(0).diagnostic, "operation request 4 comes after the end: none is expected");
    EXPECT_EQ(late.at(1).code, 0) << late.at(1).diagnostic;
}

TEST_F(LburpTest, AnEndWaitsForWhatWasAbandonedBeforeIt) {
    start();
    const std::string abandon = message(9, wire::tlv(0x50, "\x02"));
    EXPECT_EQ(ids(client_.sendOnly(requests({3, 2, 1, kEnd + 3}) + abandon)), Ids{1});
    EXPECT_EQ(ids(client_.send({})), Ids{});
    const auto mended = client_.send(message(62, request(2)));
    EXPECT_EQ(ids(mended), (Ids{62, 3, kEnd}));
    EXPECT_EQ(mended.at(2).code, 0) << mended.at(2).diagnostic;
}

TEST_F(LburpTest, AnAbandonedRequestIsAGap) {
    start();
    EXPECT_EQ(ids(client_.send(requests({2, 3}) + message(8, wire::tlv(0x50, "\x02")))), Ids{});
    EXPECT_EQ(ids(client_.send(requests({1}))), Ids{1});
    EXPECT_TRUE(isThere("a"));
    EXPECT_EQ(ask(lburp::end(3)), 1);
    EXPECT_EQ(ids(client_.send(message(9, request(2)))), (Ids{9, 3})) << "sent again";
    EXPECT_EQ(ask(lburp::end(3)), 0);
    EXPECT_EQ(ids(client_.send(message(8, wire::tlv(0x50, "\x02")))), Ids{});
}

TEST_F(LburpTest, ABindDropsEverything) {
    start();
    EXPECT_EQ(ids(client_.send(requests({2, 3}))), Ids{});
    EXPECT_EQ(ask(wire::bind(kAdmin, "wrong")), 49) << "whatever it comes to";
    client_.bindAdmin();
    EXPECT_EQ(ask(request(1)), 1) << "it is no longer open";
    start();
    EXPECT_EQ(ids(client_.send(requests({1}))), Ids{1}) << "2 and 3 are forgotten";
    EXPECT_EQ(ids(client_.send(requests({2}))), Ids{2});
    EXPECT_EQ(ask(lburp::end(2)), 0);
}

TEST_F(LburpTest, ConnectionsHaveTheirOwn) {
    LocalClient other(server_, 8);
    other.bindAdmin();
    start();
    EXPECT_EQ(other.ask(request(1)).code, 1);
    EXPECT_EQ(other.ask(lburp::start()).code, 0);
    EXPECT_EQ(ids(client_.send(requests({2}))), Ids{});
    EXPECT_EQ(other.ask(request(1)).code, 0);
    EXPECT_EQ(ids(client_.send({})), Ids{}) << "the other's 1 is not this one's";
    const auto own = client_.send(requests({1}));
    EXPECT_EQ(ids(own), (Ids{1, 2}));
    EXPECT_EQ(own.at(0).code, 80) << "the entry was there";
    EXPECT_EQ(other.ask(lburp::end(1)).code, 0);
    EXPECT_EQ(ask(lburp::end(2)), 0);
}

TEST_F(LburpTest, TheIdOfAWaitingRequestIsInUse) {
    start();
    const auto responses = client_.send(requests({2}) + message(2, request(3)));
    EXPECT_EQ(ids(responses), Ids{0});
    EXPECT_EQ(responses.at(0).diagnostic, "the message id is in use");
}

TEST_F(LburpTest, AClientThatHasGoneLeavesNothing) {
    start();
    EXPECT_EQ(ids(client_.send(requests({2, 3}))), Ids{});
    client_.finishSending();
    EXPECT_TRUE(client_.closed()) << "1 will not come";
    LocalClient other(server_, 8);
    other.bindAdmin();
    EXPECT_EQ(other.ask(lburp::start()).code, 0);
    EXPECT_EQ(ids(other.sendOnly(requests({2, 3, 1}))), (Ids{1, 2}));
    other.finishSending();
    EXPECT_EQ(ids(other.received()), Ids{3}) << "what is there is served";
    EXPECT_TRUE(other.closed());
}

TEST_F(LburpTest, WaitingRequestsAreServedOneAStep) {
    start();
    std::string early;
    for (std::uint8_t number = 2; number <= 20; ++number)
        early += message(number, lburp::operations(number, {}));
    EXPECT_EQ(ids(client_.sendOnly(early)), Ids{});
    EXPECT_EQ(ids(client_.sendOnly(message(1, lburp::operations(1, {})))), (Ids{1, 2}));
    for (int number = 3; number <= 20; ++number) {
        ASSERT_TRUE(client_.step());
        EXPECT_EQ(ids(client_.received()), Ids{number});
    }
}

TEST_F(LburpTest, TooManyMayNotWait) {
    start();
    std::string early;
    for (std::uint8_t number = 2; number <= 65; ++number)
        early += message(number, lburp::operations(number, {}));
    EXPECT_EQ(ids(client_.send(early)), Ids{});
    const auto refused = client_.send(message(70, lburp::operations(66, {})));
    ASSERT_EQ(ids(refused), Ids{70});
    EXPECT_EQ(refused[0].code, 51);
    EXPECT_EQ(refused[0].diagnostic,
              "too much waits for operation request 1: at most 64 requests of "
              "16777216 bytes together may");
    EXPECT_EQ(client_.send(message(1, lburp::operations(1, {}))).size(), 65U);
    EXPECT_EQ(ask(lburp::operations(66, {})), 0) << "its number was not used up";
}

TEST_F(LburpTest, TooMuchMayNotWait) {
    start();
    const std::string large = wire::remove(std::string(9U << 20U, 'x'));
    EXPECT_EQ(ids(client_.send(message(2, lburp::operations(2, {large})))), Ids{});
    EXPECT_EQ(ask(lburp::operations(3, {large})), 51);
    client_.send(message(9, wire::tlv(0x50, "\x02")));
    EXPECT_EQ(ids(client_.send(message(3, lburp::operations(3, {large})))), Ids{})
        << "an abandoned one leaves its room";
    client_.bindAdmin();
    start();
    EXPECT_EQ(ids(client_.send(message(2, lburp::operations(2, {large})))), Ids{}) << "a bind, too";
}

} // namespace
