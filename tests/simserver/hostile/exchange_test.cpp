#include "hostile/mutation.h"
#include "hostile/settings.h"
#include "hostile/verdict.h"
#include "in_process.h"
#include "process_state.h"
#include "program.h"
#include "tls_client.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace std::chrono_literals;

/** The message and what came of it, for whoever has to find out why. */
std::string describe(std::uint32_t number, const std::string &sent, const Reaction &reaction) {
    const auto hex = [](const std::string &bytes) {
        return testing::PrintToString(bytes.substr(0, 300));
    };
    return "message " + std::to_string(number) +
           " of --seed=" + std::to_string(hostileSettings.seed) + ": " + hex(sent) +
           "\nanswered with " + hex(reaction.bytes) + (reaction.closed ? ", closed" : "");
}

/** The first of the operations that `who` may do; the administrator may do all. */
void identify(InProcess &server, std::uint32_t who) {
    server.connection.identity = {};
    if (who == 1)
        server.identity = {kAda, stratasim::requireDn(kAda).key};
    if (who == 2)
        server.bindAdmin();
}

/** What the dispatcher makes of damaged messages. */
TEST(Hostile, DamagedMessagesAreAnsweredOrEndTheConnection) {
    Mutation mutation(hostileSettings.seed);
    std::unique_ptr<InProcess> server;
    std::uint32_t answered = 0, closed = 0;
    for (std::uint32_t number = 0; number < hostileSettings.messages; ++number) {
        if (number % 500 == 0)
            server = std::make_unique<InProcess>();
        const std::string sent = mutation.next();
        identify(*server, mutation.upTo(3));
        const auto size = messageSize(sent);
        if (!size || *size != sent.size())
            continue; // the session cuts it off or waits: that is another test
        const Reaction reaction{server->raw(sent), server->closed};
        (reaction.closed ? closed : answered) += 1;
        ASSERT_EQ(judge(sent, reaction), "") << describe(number, sent, reaction);
    }
    EXPECT_GT(answered, hostileSettings.messages / 4) << "they are damaged beyond what tells much";
    EXPECT_GT(closed, hostileSettings.messages / 20) << "they are hardly damaged";
}

/** A server with a connection that stays, whose state is looked at again and again. */
class HostileProgram : public testing::Test {
  protected:
    void expectUnharmed() {
        ASSERT_EQ(ask(steady_), wire::hex("300c 020101 6107 0a0100 0400 0400"));
        EXPECT_LT(server_.residentKilobytes(), kMostKilobytes);
    }
    static std::string ask(RawClient &client) {
        client.send(wire::message(1, wire::bind("", "")));
        return client.readMessages(1);
    }

    static constexpr long kMostKilobytes = 400000;
    SimProgram server_{{"--max-message", "200000"}};
    RawClient steady_{server_.port()};
};

/** Sends all of it on a connection of its own and gives what came back until that had ended. */
Reaction exchange(int port, const std::string &bytes) {
    RawClient client(port);
    client.send(bytes);
    client.finishSending();
    Reaction reaction{client.readAll(10s), false};
    reaction.closed = client.closed();
    return reaction;
}

TEST_F(HostileProgram, DamagedMessagesOnConnectionsOfTheirOwn) {
    Mutation mutation(hostileSettings.seed + 1);
    const std::string admin = wire::message(1, wire::bind(kAdmin, "secret"));
    expectUnharmed();
    const std::size_t descriptors = openDescriptors(server_.pid());
    for (std::uint32_t number = 0; number < hostileSettings.messages / 10; ++number) {
        const bool asAdmin = mutation.upTo(2) == 0;
        const std::string sent = mutation.next();
        Reaction reaction = exchange(server_.port(), asAdmin ? admin + sent : sent);
        ASSERT_TRUE(reaction.closed) << describe(number, sent, reaction);
        if (asAdmin)
            reaction.bytes.erase(0, 14); // the answer to the bind
        // What follows a message may be another one: only whole ones are judged.
        if (const auto size = messageSize(sent); size && *size == sent.size()) {
            ASSERT_EQ(judge(sent, reaction), "") << describe(number, sent, reaction);
        }
        if (number % 50 == 0)
            expectUnharmed();
    }
    expectUnharmed();
    EXPECT_TRUE(becomes(5s, [&] { return openDescriptors(server_.pid()) == descriptors; }))
        << openDescriptors(server_.pid()) << " descriptors are open, and were " << descriptors;
}

/** All of them one after the other, until one ends the connection. */
TEST_F(HostileProgram, DamagedMessagesInARow) {
    Mutation mutation(hostileSettings.seed + 2);
    for (std::uint32_t row = 0; row < hostileSettings.messages / 100; ++row) {
        std::string bytes = wire::message(1, wire::bind(kAdmin, "secret"));
        for (int count = 0; count < 20; ++count)
            bytes += mutation.next();
        ASSERT_TRUE(exchange(server_.port(), bytes).closed);
    }
    expectUnharmed();
}

} // namespace
