#pragma once

#include "system/load_peer_file.h"
#include "system/load_peer_relay.h"
#include "system/load_peer_tree.h"

#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace test {

/**
 * Loads into a server that knows no bulk updates, by ordinary operations. `Server` has a type with
 * a member uri(), the administrator's DN and the password.
 */
template <class Server>
class LoadPeerFallback : public testing::Test {
  protected:
    static constexpr const char *suffix = "dc=example,dc=com";

    [[nodiscard]] LoadTarget target(const std::string &uri) const {
        return {uri, Server::adminDn, Server::password};
    }
    [[nodiscard]] Result load(const std::string &file, const Arguments &more = {}) const {
        Arguments all = {"--fallback"};
        all.insert(all.end(), more.begin(), more.end());
        return runTool(target(server.uri()).load(file, all));
    }
    void expectTree(const PeopleFile &file, const PeoplePlan &plan) const {
        EXPECT_EQ(differences(file.tree, session.subtree(plan.base)), "");
    }
    static PeoplePlan planOf(int people) {
        PeoplePlan plan;
        plan.people = isSanitized ? people / 10 : people;
        plan.renames = 5;
        return plan;
    }
    /** A record of somebody without a surname, or below somebody who is not there. */
    [[nodiscard]] static std::string person(const std::string &name, const std::string &unit,
                                            bool hasSurname = true) {
        return "dn: cn=" + name + ",ou=" + unit + "," + PeoplePlan().base +
               "\nobjectClass: top\nobjectClass: person\nobjectClass: organizationalPerson\n"
               "objectClass: inetOrgPerson\ncn: " +
               name + "\n" + (hasSurname ? "sn: S\n" : "") + "\n";
    }

    const Server server;
    const PeerSession session{server.uri(), Server::adminDn, Server::password};
};
TYPED_TEST_SUITE_P(LoadPeerFallback);

TYPED_TEST_P(LoadPeerFallback, IsNamedWhereItIsNeeded) {
    const PeopleFile file(this->planOf(10));
    const Result result = runTool(this->target(this->server.uri()).load(file.path()));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, testing::HasSubstr("--fallback"));
    EXPECT_EQ(this->session.subtree(PeoplePlan().base).size(), 0U);
    EXPECT_FALSE(file.has("people.ldif.checkpoint"));
}

TYPED_TEST_P(LoadPeerFallback, OneByOne) {
    const PeoplePlan plan = this->planOf(500);
    const PeopleFile file(plan);
    expectAllDone(this->load(file.path(), {"--window", "1"}), file.counts);
    this->expectTree(file, plan);
}

TYPED_TEST_P(LoadPeerFallback, ManyAtOnce) {
    const PeoplePlan plan = this->planOf(4000);
    const PeopleFile file(plan);
    expectAllDone(this->load(file.path(), {"--window", "64"}), file.counts);
    this->expectTree(file, plan);
}

TYPED_TEST_P(LoadPeerFallback, StopsAtAFailure) {
    const PeopleFile base(this->planOf(0));
    ASSERT_EQ(this->load(base.path()).status, 0);
    const TemporaryFolder folder;
    const std::string file = folder.write("stops.ldif", this->person("One", "Unit 00") +
                                                            this->person("Two", "Unit 00", false) +
                                                            this->person("Three", "Unit 00"));
    const Result result = this->load(file, {"--window", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(sumOf(result.json(), "done"), 1);
    EXPECT_EQ(sumOf(result.json(), "failed"), 1);
    EXPECT_THAT(result.err, testing::HasSubstr("cn=Two"));
    const Tree tree = this->session.subtree(PeoplePlan().base);
    EXPECT_EQ(tree.size(), base.tree.size() + 1);
    EXPECT_EQ(tree.count(normalizedDn("cn=One,ou=Unit 00," + PeoplePlan().base)), 1U);
}

TYPED_TEST_P(LoadPeerFallback, RejectsLoadWhenTheyAreMended) {
    const PeoplePlan plan = this->planOf(300);
    const PeopleFile file(plan);
    const TemporaryFolder folder;
    std::string lateOnes;
    for (int i = 0; i < 5; ++i)
        lateOnes += this->person("Late " + std::to_string(i), "Missing");
    const std::string mixed =
        folder.write("mixed.ldif", readFile(file.path()) + "\n" + lateOnes +
                                       this->person("Nobody", "Unit 00", false) +
                                       this->person("Somebody", "Unit 00"));
    const std::string rejects = folder.path("rejects.ldif");
    const Result first = this->load(mixed, {"--window", "64", "--continue", "--rejects", rejects});
    EXPECT_EQ(first.status, 1);
    EXPECT_EQ(sumOf(first.json(), "failed"), 6);
    EXPECT_EQ(sumOf(first.json(), "done"), static_cast<long>(file.counts.all()) + 1);
    std::string mended = readFile(rejects);
    EXPECT_THAT(mended, testing::HasSubstr("result 32"));
    EXPECT_THAT(mended, testing::HasSubstr("result 65"));
    const std::size_t nobody = mended.find("cn: Nobody");
    ASSERT_NE(nobody, std::string::npos);
    mended.insert(nobody, "sn: N\n");
    const std::string unit = "dn: ou=Missing," + plan.base +
                             "\nobjectClass: top\nobjectClass: organizationalUnit\nou: Missing\n\n";
    const Result second =
        this->load(folder.write("mended.ldif", unit + mended), {"--window", "64"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(sumOf(second.json(), "done"), 7);
    EXPECT_EQ(this->session.subtree(plan.base).size(), file.tree.size() + 8);
}

// Every connection but the last ones is lost, and every third time the tool is killed. The server
// carries out what it had received in any order; what nobody can tell then is skipped.
TYPED_TEST_P(LoadPeerFallback, ResumesAfterKillsAndLostConnections) {
    const PeoplePlan plan = this->planOf(isSanitized ? 8000 : 1000);
    const PeopleFile file(plan);
    std::mt19937 random(5);
    std::vector<Cut> cuts;
    for (int i = 0; i < 10; ++i)
        cuts.push_back({random() % 2 == 0 ? Cut::Way::Answers : Cut::Way::Requests,
                        30 + random() % 90, static_cast<Cut::Where>(random() % 3)});
    Relay relay(this->server.uri(), cuts);
    const Arguments options = {"--fallback", "--window", "64"};
    Result result;
    const auto isUnfinished = [&] { return file.has("people.ldif.checkpoint"); };
    for (std::size_t run = 0; run < 40 && (run == 0 || isUnfinished()); ++run) {
        Arguments more = options;
        if (run > 0)
            more.emplace_back("--resume");
        if (result.err.find("nobody can tell") != std::string::npos)
            more.insert(more.end(), {"--doubtful", "skip", "--rejects", file.path("rejects")});
        const std::size_t before = relay.connections();
        Process process(QLDAPX_PATH, this->target(relay.uri()).load(file.path(), more));
        if (run % 3 == 2 && soon([&] { return relay.connections() > before; }) &&
            soon([&] { return relay.answers() > 20 || relay.isIdle(); }))
            process.signal(SIGKILL);
        result = process.wait();
        relay.awaitIdle();
    }
    EXPECT_FALSE(isUnfinished()) << result.err;
    EXPECT_GT(relay.connections(), cuts.size());
    this->expectTree(file, plan);
}

REGISTER_TYPED_TEST_SUITE_P(LoadPeerFallback, IsNamedWhereItIsNeeded, OneByOne, ManyAtOnce,
                            StopsAtAFailure, RejectsLoadWhenTheyAreMended,
                            ResumesAfterKillsAndLostConnections);

} // namespace test
