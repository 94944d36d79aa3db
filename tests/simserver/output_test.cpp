#include "in_process.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using wire::message;

/** Runs the program in a shell, whose redirections make what it writes to. */
CommandResult inShell(const std::string &command) {
    return runCommand({"/bin/sh", "-c", command});
}

std::string command(const std::string &arguments) {
    return std::string("exec ") + STRATA_SIM + " --listen 127.0.0.1:0 " + arguments;
}

/** What a shell does to wait until the file is there, but not for ever. */
std::string await(const TestFile &file) {
    return "n=0; until test -s " + file.path() +
           " || test $n = 400; do sleep 0.05; n=$((n + 1)); done; ";
}

TEST(Output, ALogThatCannotBeWrittenChangesNothing) {
    SimProgram server({"--verbose"}, "/dev/full");
    RawClient client(server.port());
    client.send(message(1, kAnonymousBind));
    EXPECT_EQ(client.readMessages(1), kBoundAnonymously);
    EXPECT_EQ(server.stop(SIGTERM), 0);
}

/** Whoever reads the log has gone: writing to the pipe fails from then on. */
TEST(Output, ALogThatNobodyReadsChangesNothing) {
    const TestFile fifo("log.fifo");
    ASSERT_EQ(mkfifo(fifo.path().c_str(), 0600), 0);
    const int reader = open(fifo.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    SimProgram server({"--verbose"}, fifo.path());
    close(reader);
    RawClient client(server.port());
    client.send(message(1, kAnonymousBind));
    EXPECT_EQ(client.readMessages(1), kBoundAnonymously);
    EXPECT_EQ(server.stop(SIGTERM), 0);
}

TEST(Output, WhatClientsSayCannotForgeLinesOfTheLog) {
    const TestFile log("forged.log");
    SimProgram server({"--verbose"}, log.path());
    RawClient client(server.port());
    client.send(message(1, wire::extended("1.2\nconnection 9 message 1 bind\x1b[2J\x7f")) +
                message(2, wire::extended(std::string(100000, 'x'))));
    EXPECT_EQ(wire::parse(client.readMessages(2)).code, 2);
    EXPECT_EQ(server.stop(SIGTERM), 0);
    const std::string said = log.read();
    EXPECT_TRUE(contains(said, "1.2\\x0aconnection 9 message 1 bind\\x1b[2J\\x7f is not served"))
        << said;
    EXPECT_LT(said.size(), 3000U);
}

/** No socket and no file gets the number of a stream that is closed. */
TEST(Output, StreamsMayBeClosed) {
    const TestFile ready("ready");
    const TestFile answer("answer");
    const auto result =
        inShell("( " + command("--verbose --ready-file " + ready.path()) + " <&- >&- 2>&- ) & " +
                await(ready) +
                "for number in 0 1 2; do readlink /proc/$!/fd/$number; done; ldapwhoami -x -H "
                "\"$(cat " +
                ready.path() + ")\" >" + answer.path() + " 2>&1; kill $!; wait $!");
    EXPECT_EQ(result.code, 0) << result.output;
    EXPECT_EQ(result.output, "/dev/null\n/dev/null\n/dev/null\n");
    EXPECT_EQ(answer.read(), "anonymous\n");
}

TEST(Output, WhatIsAskedForAndCannotBeWrittenIsAnError) {
    for (const char *option : {"--help", "--version", "--list-operations", "--list-events"}) {
        const auto result = inShell(command(option) + std::string(" >/dev/full"));
        EXPECT_EQ(result.code, 1) << option;
        EXPECT_EQ(result.output,
                  "strata-sim: cannot write the standard output: No space left on device\n")
            << option;
    }
}

TEST(Output, TheExitCodeIsRightWhenTheErrorCannotBeWritten) {
    for (const char *stream : {" 2>/dev/full", " 2>&-"}) {
        EXPECT_EQ(inShell(command("--wrong") + stream).code, 2) << stream;
        EXPECT_EQ(inShell(command("--replay /no/such/file") + stream).code, 1) << stream;
    }
}

/** Without room on the disk: no file may have any bytes. */
TEST(Output, FilesThatCannotBeWrittenAreNamed) {
    const std::string limited = "ulimit -f 0; ";
    const TestFile file("full");
    for (const std::string option : {"--ready-file ", "--tls auto --tls-ca-file "}) {
        const auto result = inShell(limited + command(option + file.path()));
        EXPECT_EQ(result.code, 1) << option;
        EXPECT_TRUE(contains(result.output,
                             "strata-sim: cannot write " + file.path() + ": File too large\n"))
            << result.output;
        EXPECT_NE(access(file.path().c_str(), F_OK), 0) << "nothing is left of it";
        EXPECT_NE(access((file.path() + ".new").c_str(), F_OK), 0) << "nothing is left of it";
    }
}

/** A server may be of use without the line that says where it listens. */
TEST(Output, TheFirstLineMayBeLost) {
    const TestFile ready("ready");
    const TestFile errors("errors");
    const auto result = inShell(command("--ready-file " + ready.path()) + " >/dev/full 2>" +
                                errors.path() + " & " + await(ready) + "kill $!; wait $!");
    EXPECT_EQ(result.code, 0) << result.output;
    EXPECT_EQ(errors.read(),
              "strata-sim: cannot write the standard output: No space left on device\n");
}

TEST(Output, MistakesOfThePersonAreExplained) {
    const std::pair<const char *, const char *> cases[] = {
        {"--ldif /", "--ldif: File is actually a directory: /"},
        {"--replay /", "cannot read /: it is a directory"},
        {"--tls /", "TLS: / holds no certificate in PEM"},
        {"--tls auto --tls-client-ca /no/ca", "TLS: cannot read /no/ca: No such file"},
        {"--max-connections 0", "--max-connections"},
        {"--idle-time -1", "--idle-time"},
        {"--idle-time 1h", "--idle-time"},
    };
    for (const auto &[arguments, part] : cases) {
        const auto result = inShell(command(arguments));
        EXPECT_TRUE(result.code == 1 || result.code == 2) << arguments;
        EXPECT_TRUE(contains(result.output, part)) << result.output;
    }
}

} // namespace
