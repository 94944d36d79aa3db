#include "lburp_fixture.h"
#include "program.h"

#include <algorithm>

namespace {

using lburp::ids;
using wire::hex;
using wire::message;
using Ids = std::vector<int>;

class LburpFaultTest : public LburpTest {
  protected:
    void fail(const std::vector<std::string> &faults) {
        for (const std::string &fault : faults)
            EXPECT_EQ(server_.faults.add(fault), "") << fault;
    }
    static std::string add(std::uint8_t request) {
        return message(request,
                       lburp::operations(request, {lburp::add("a" + std::to_string(request)),
                                                   lburp::add("b" + std::to_string(request))}));
    }
};

TEST_F(LburpFaultTest, AnswersAreDistorted) {
    const std::string failures = lburp::failure(1, 34, "", "\"x\" is not a distinguished name");
    const struct {
        std::vector<std::string> faults;
        int code;
        std::string oid;
        std::string value;
    } cases[] = {
        {{}, 80, lburp::kArc + "7", failures},
        {{"lburp-operation=no-oid"}, 80, "none", failures},
        {{"lburp-operation=oid:1.2"}, 80, "1.2", failures},
        {{"lburp-operation=no-value"}, 80, lburp::kArc + "7", "none"},
        {{"lburp-operation=truncate:5"}, 80, lburp::kArc + "7", failures.substr(0, 5)},
        {{"lburp-operation=value:3000"}, 80, lburp::kArc + "7", hex("3000")},
        {{"lburp-operation=code:52:gone"}, 52, lburp::kArc + "7", "none"},
        {{"lburp-operation@2=no-oid"}, 80, lburp::kArc + "7", failures},
        {{"lburp-start=no-oid", "lburp-end=no-oid"}, 80, lburp::kArc + "7", failures},
    };
    for (const auto &c : cases) {
        InProcess server;
        LocalClient client(server, 1);
        client.bindAdmin();
        for (const std::string &fault : c.faults)
            EXPECT_EQ(server.faults.add(fault), "");
        client.ask(lburp::start());
        const auto response = client.ask(lburp::operations(1, {wire::remove("x")}));
        EXPECT_EQ(response.code, c.code);
        EXPECT_EQ(response.oid, c.oid);
        EXPECT_EQ(response.value, c.value);
    }
}

TEST_F(LburpFaultTest, StartAndEndHaveTheirs) {
    fail({"lburp-start@1=truncate:3", "lburp-start@2=value:30030201ff", "lburp-start@3=code:51",
          "lburp-end=no-oid"});
    EXPECT_EQ(client_.ask(lburp::start()).value, hex("300302"));
    EXPECT_EQ(client_.ask(lburp::end(0)).oid, "none");
    EXPECT_EQ(client_.ask(lburp::start()).value, hex("30030201ff"));
    EXPECT_EQ(ask(lburp::end(0)), 0);
    EXPECT_EQ(ask(lburp::start()), 51);
    EXPECT_EQ(ask(lburp::end(0)), 1) << "it was not carried out";
}

TEST_F(LburpFaultTest, ACodeIsInPlaceOfTheOperations) {
    fail({"lburp-operation@2=code:51:come back"});
    start();
    EXPECT_EQ(ids(client_.send(add(1) + add(3) + add(2))), (Ids{1, 2}))
        << "faults go by the order of the answers";
    EXPECT_TRUE(isThere("a1"));
    EXPECT_FALSE(isThere("a2"));
    EXPECT_EQ(ids(client_.send(message(9, lburp::operations(2, {})))), (Ids{9, 3}))
        << "its number is not used up";
}

TEST_F(LburpFaultTest, TheAnswerToAWaitingRequestIsSpoiltToo) {
    fail({"lburp-operation@2=no-oid", "lburp-operation@3+=oid:1.2"});
    start();
    const auto responses = client_.send(add(4) + add(3) + add(2) + add(1));
    EXPECT_EQ(ids(responses), (Ids{1, 2, 3, 4}));
    EXPECT_EQ(responses.at(0).oid, lburp::kArc + "7");
    EXPECT_EQ(responses.at(1).oid, "none");
    EXPECT_EQ(responses.at(2).oid, "1.2");
    EXPECT_EQ(responses.at(3).oid, "1.2");
}

TEST_F(LburpFaultTest, ADelayIsThatOfTheAnswer) {
    fail({"lburp-operation@2=delay:30"});
    start();
    EXPECT_EQ(ids(client_.send(add(3) + add(2) + add(1))), (Ids{1, 3}));
    EXPECT_TRUE(isThere("a2"));
    EXPECT_EQ(ids(client_.await()), Ids{2});
    EXPECT_EQ(ask(lburp::end(3)), 0);
}

TEST_F(LburpFaultTest, TheConnectionEndsWhereItIsToldTo) {
    const struct {
        std::vector<std::string> faults;
        std::vector<int> sent;
        Ids answered;
        std::vector<std::string> there;
    } cases[] = {
        {{"lburp-operation@2=drop"}, {1, 2, 3}, {1}, {"a1", "b1", "a2", "b2"}},
        {{"lburp-operation@2=drop"}, {3, 2, 1}, {1}, {"a1", "b1", "a2", "b2"}},
        {{"lburp-operation@2=drop", "lburp-operation@2=code:80"}, {1, 2, 3}, {1}, {"a1", "b1"}},
        {{"lburp-operation@2=partway:1"}, {1, 2, 3}, {1}, {"a1", "b1", "a2"}},
        {{"lburp-operation@2=partway:1"}, {3, 2, 1}, {1}, {"a1", "b1", "a2"}},
        {{"lburp-operation@2=partway:0"}, {1, 2, 3}, {1}, {"a1", "b1"}},
        {{"lburp-operation@1+=partway:9"}, {1, 2, 3}, {}, {"a1", "b1"}},
    };
    for (const auto &c : cases) {
        InProcess server;
        LocalClient client(server, 1);
        client.bindAdmin();
        client.ask(lburp::start());
        for (const std::string &fault : c.faults)
            EXPECT_EQ(server.faults.add(fault), "");
        std::string sent;
        for (const int request : c.sent)
            sent += add(static_cast<std::uint8_t>(request));
        EXPECT_EQ(ids(client.send(sent)), c.answered) << c.faults[0];
        EXPECT_TRUE(client.closed());
        for (const char *name : {"a1", "b1", "a2", "b2", "a3", "b3"})
            EXPECT_EQ(server.directory.tree.find(lburp::dn(name)) != nullptr,
                      std::find(c.there.begin(), c.there.end(), name) != c.there.end())
                << c.faults[0] << " " << name;
    }
}

TEST_F(LburpFaultTest, WhatWasAnsweredBeforeTheEndArrives) {
    const SimProgram server({"--fault", "lburp-operation@3=drop"});
    RawClient client(server.port());
    std::string all = message(1, lburp::start());
    for (std::uint8_t request = 1; request <= 100; ++request)
        all += message(static_cast<std::uint8_t>(request + 1),
                       lburp::operations(request, {wire::remove(std::string(5000, 'x'))}));
    client.send(all);
    EXPECT_EQ(wire::elements(client.readAll()).size(), 3U);
    EXPECT_TRUE(client.closed());
}

TEST_F(LburpFaultTest, AnswersAreCountedForAllConnections) {
    fail({"lburp-operation@2=drop"});
    start();
    EXPECT_EQ(ids(client_.send(add(1) + add(2))), Ids{1});
    EXPECT_TRUE(client_.closed());
    LocalClient again(server_, 8);
    again.bindAdmin();
    again.ask(lburp::start());
    EXPECT_EQ(ids(again.send(add(1) + add(2))), (Ids{1, 2})) << "only the second one of all";
}

TEST_F(LburpFaultTest, MistakesAreExplained) {
    const std::pair<const char *, const char *> cases[] = {
        {"lburp-operation@=drop", "\"@\" is no number of an answer: write @3 for the third one"},
        {"lburp-operation@0=drop", "\"@0\" is no number"},
        {"lburp-operation@-1=drop", "\"@-1\" is no number"},
        {"lburp-operation@+=drop", "\"@+\" is no number"},
        {"lburp-operation@1++=drop", "\"@1++\" is no number"},
        {"lburp-operation@x=drop", "\"@x\" is no number"},
        {"nothing@1=drop", "there is no operation \"nothing\""},
        {"lburp-operation@1=explode", "partway:OPERATIONS for lburp-operation"},
        {"lburp-operation=partway", "\"partway\" is no kind"},
        {"lburp-operation=partway:-1", "\"partway:-1\" is no kind"},
        {"lburp-end=partway:1", "\"partway:1\" is no kind"},
        {"refresh-server=partway:1", "\"partway:1\" is no kind"},
    };
    for (const auto &[fault, problem] : cases) {
        stratasim::Faults faults;
        const std::string said = faults.add(fault);
        EXPECT_NE(said.find(problem), std::string::npos) << said;
    }
    stratasim::Faults faults;
    EXPECT_EQ(faults.add("2.16.840.1.907341.1.142.100.6@12+=partway:3"), "");
}

} // namespace
