#include "lburp.h"
#include "program.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

namespace {

CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), STRATA_SIM);
    return runCommand(arguments);
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(Options, MistakesAreExplained) {
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"--wrong"}, "--wrong"},
        {{"--listen"}, "--listen"},
        {{"--listen", "1389"}, "write HOST:PORT"},
        {{"--listen", "127.0.0.1:70000"}, "write HOST:PORT"},
        {{"--ldif", "/no/such/file"}, "/no/such/file"},
        {{"--admin-dn", "nonsense"}, "\"nonsense\" is not a DN"},
        {{"--admin-password", ""}, "needs a password"},
        {{"--fault", "x=drop"}, "see --list-operations"},
        {{"--fault", "refresh-server=no"}, "is no kind of fault: there are no-oid"},
        {{"--fault", "digest-md5-proof=stale"}, "upper-rspauth"},
        {{"--sasl-realm", ""}, "is no realm"},
        {{"--sasl-realm", "a\"b"}, "\"a\"b\" is no realm: it needs a character, and no quotes"},
        {{"--sasl-realm", "a\\b"}, "is no realm"},
        {{"--sasl-realm", "a\tb"}, "is no realm"},
        {{"--sasl-realm", "a\x7f"}, "is no realm"},
        {{"--sasl-realm", "R1", "--sasl-realm", ""}, "is no realm"},
        {{"--max-message", "1"}, "--max-message"},
        {{"--backup-piece", "63"}, "--backup-piece"},
        {{"--backup-piece", "16777217"}, "--backup-piece"},
        {{"--event-queue", "0"}, "--event-queue"},
        {{"--replay-rate", "-1"}, "--replay-rate"},
        {{"--replay-repeat", "x"}, "--replay-repeat"},
        {{"--lburp-transaction-size", "0"}, "--lburp-transaction-size"},
        {{"--tls-key", "x"}, "there is no TLS without --tls auto or --tls CERTFILE"},
        {{"--tls-client-ca", "x"}, "there is no TLS without"},
        {{"--fault", "tls-handshake=silent"}, "there is no TLS without"},
        {{"--tls-ca-file", "x"}, "--tls-ca-file: there is nothing"},
        {{"--tls", "y", "--tls-ca-file", "x"}, "without --tls auto"},
        {{"--tls", "y", "--tls-client-file", "x"}, "--tls-client-file: there is nothing"},
        {{"--tls", "y", "--tls-auto-cert", "expired"}, "--tls-auto-cert: there is nothing"},
        {{"--tls", "auto", "--tls-auto-cert", "old"}, "not-yet-valid"},
        {{"--tls", "auto", "--tls-key", "x"}, "--tls auto makes its own key"},
        {{"--tls", "auto", "--tls-require-client-cert"}, "name their CA with --tls-client-ca"},
        {{"--tls", "auto", "--tls-handshake-time", "0"}, "--tls-handshake-time"},
        {{"--fault", "lburp-end@0=drop"}, "write @3 for the third one"},
    };
    for (const auto &[arguments, part] : cases) {
        const auto result = run(arguments);
        EXPECT_EQ(result.code, 2) << arguments[0];
        EXPECT_TRUE(contains(result.output, part)) << result.output;
        EXPECT_TRUE(contains(result.output, "Try: strata-sim --help")) << result.output;
    }
}

TEST(Options, HelpVersionAndList) {
    const auto help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    for (const char *part : {"--listen",
                             "--ldif",
                             "--admin-dn",
                             "--admin-password",
                             "--fault",
                             "--max-message",
                             "--max-connections",
                             "--idle-time",
                             "--backup-piece",
                             "--event-queue",
                             "--replay",
                             "--replay-rate",
                             "--replay-repeat",
                             "--list-events",
                             "--lburp-transaction-size",
                             "--no-lburp",
                             "--schema",
                             "--schema-size",
                             "--schema-verbatim",
                             "--sasl-realm",
                             "digest-md5-challenge",
                             "--tls auto|CERTFILE",
                             "and nothing else",
                             "--tls-key",
                             "--tls-ca-file",
                             "--tls-auto-cert",
                             "--tls-client-ca",
                             "--tls-client-file",
                             "--tls-require-client-cert",
                             "--tls-handshake-time",
                             "tls-handshake has silent",
                             "--ready-file",
                             "--verbose",
                             "Example:"})
        EXPECT_TRUE(contains(help.output, part)) << part;
    EXPECT_EQ(run({"--version"}).output, "strata-sim 1.0.0\n");
    const auto list = run({"--list-operations"});
    EXPECT_EQ(list.code, 0);
    EXPECT_TRUE(
        contains(list.output, "get-replica-info               2.16.840.1.907341.1.27.100.17\n"));
    EXPECT_TRUE(
        contains(list.output, "restore-object                 2.16.840.1.907341.1.27.100.98\n"));
    EXPECT_TRUE(
        contains(list.output, "monitor-events                 2.16.840.1.907341.1.27.100.79\n"));
    EXPECT_TRUE(
        contains(list.output, "monitor-events-filtered        2.16.840.1.907341.1.27.100.84\n"));
}

TEST(Options, BulkUpdates) {
    const auto list = run({"--list-operations"});
    for (const char *row : {"lburp-start                    2.16.840.1.907341.1.142.100.1\n",
                            "lburp-operation                2.16.840.1.907341.1.142.100.6\n",
                            "lburp-end                      2.16.840.1.907341.1.142.100.4\n"})
        EXPECT_TRUE(contains(list.output, row)) << row;
    const auto started = [](const std::vector<std::string> &options) {
        const SimProgram server(options);
        RawClient client(server.port());
        client.send(wire::message(1, lburp::start()));
        return wire::parse(client.readMessages(1));
    };
    EXPECT_EQ(started({}).value, wire::hex("3003020164"));
    EXPECT_EQ(started({"--lburp-transaction-size", "7"}).value, wire::hex("3003020107"));
    EXPECT_EQ(started({"--no-lburp"}).code, 2);
}

TEST(Options, EventsAreListed) {
    const auto list = run({"--list-events"});
    EXPECT_EQ(list.code, 0);
    EXPECT_TRUE(list.output.starts_with("  1 entry-added          97 EntryEventData\n"));
    EXPECT_TRUE(contains(list.output, "\n 12 connection-closed    114 ConnectionEventData\n"));
    EXPECT_TRUE(contains(list.output, "\n 27 plain                100 -\n"));
    // Every kind of record has an event.
    for (int kind = 97; kind <= 125; ++kind)
        EXPECT_TRUE(contains(list.output, " " + std::to_string(kind) + " ")) << kind;
}

TEST(Options, PortInUseIsExplained) {
    SimProgram first;
    const auto second = run({"--listen", first.uri().substr(7)});
    EXPECT_EQ(second.code, 1);
    EXPECT_TRUE(contains(second.output, "Address already in use")) << second.output;
    EXPECT_TRUE(contains(second.output, "--listen")) << second.output;
}

TEST(Options, BadLdifIsExplained) {
    const std::string path = std::string(TEST_DIR) + "/bad.ldif";
    std::ofstream(path) << "dn: dc=x\nrubbish\n";
    const auto result = run({"--ldif", path});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(contains(result.output, "bad.ldif: line 2: no colon in \"rubbish\""))
        << result.output;
}

TEST(Options, UnwritableReadyFileIsExplained) {
    const auto result = run({"--listen", "127.0.0.1:0", "--ready-file", "/no/such/dir/ready"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(contains(result.output, "cannot write /no/such/dir/ready")) << result.output;
}

TEST(Options, SignalsEndItCleanly) {
    for (const int signal : {SIGINT, SIGTERM}) {
        SimProgram server;
        RawClient connected(server.port());
        EXPECT_EQ(server.stop(signal), 0);
        EXPECT_EQ(connected.readAll(), "");
    }
}

} // namespace
