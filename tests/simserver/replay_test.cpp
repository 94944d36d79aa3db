#include "events.h"
#include "program.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using wire::message;

/** A line with an event whose first string is the number. */
std::string line(int type, int number) {
    return R"({"type":)" + std::to_string(type) + R"(,"payload":{"string1":")" +
           std::to_string(number) + "\"}}\n";
}

/** The first strings of the events, one after the other. */
std::vector<std::string> numbers(const wire::Response &response) {
    std::vector<std::string> all;
    for (const std::string &value : response.events) {
        const auto outer = wire::elements(wire::elements(value).at(0).content);
        all.push_back(wire::elements(outer.at(2).content).at(0).content);
    }
    return all;
}

std::vector<std::string> upTo(int last, int from = 1) {
    std::vector<std::string> all;
    for (int number = from; number <= last; ++number)
        all.push_back(std::to_string(number));
    return all;
}

std::string lines(int type, int last, int from = 1) {
    std::string all;
    for (int number = from; number <= last; ++number)
        all += line(type, number);
    return all;
}

/** A file of the test's own, gone with it. */
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &content)
        : path_(std::string(TEST_DIR) + "/replay-" + std::to_string(getpid())) {
        std::ofstream(path_) << content;
    }
    ~TemporaryFile() { std::remove(path_.c_str()); }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

/** A bound client that has registered for events under message id 2. */
class MonitorClient : public RawClient {
  public:
    MonitorClient(const SimProgram &server, const std::vector<Wanted> &wanted)
        : RawClient(server.port()) {
        send(message(1, wire::bind(kAdmin, "secret")) + message(2, registration(wanted)));
        EXPECT_EQ(wire::parse(readMessages(2)).code, 0);
    }
    wire::Response next(std::size_t count) { return wire::parse(readMessages(count)); }
};

TEST(Replay, AFileIsReplayedWhenTheFirstMonitorComes) {
    const TemporaryFile file(lines(1, 100) + "\n  \n");
    SimProgram server({"--replay", file.path()});
    MonitorClient monitor(server, {{1}});
    EXPECT_EQ(numbers(monitor.next(100)), upTo(100));
    EXPECT_EQ(monitor.readAll(200ms), "") << "once";
    MonitorClient late(server, {{1}});
    EXPECT_EQ(late.readAll(200ms), "") << "it is over";
}

TEST(Replay, RepeatsAsOftenAsItIsTold) {
    const TemporaryFile file(lines(1, 3));
    SimProgram server({"--replay", file.path(), "--replay-repeat", "3"});
    MonitorClient monitor(server, {{1}});
    EXPECT_EQ(numbers(monitor.next(9)),
              (std::vector<std::string>{"1", "2", "3", "1", "2", "3", "1", "2", "3"}));
    EXPECT_EQ(monitor.readAll(200ms), "");
}

TEST(Replay, ForEverGoesOnAndRestsWhileNobodyMonitors) {
    const TemporaryFile file(lines(1, 1000) + lines(2, 1));
    SimProgram server({"--replay", file.path(), "--replay-repeat", "0"});
    {
        MonitorClient monitor(server, {{1}});
        EXPECT_EQ(monitor.next(5000).events.size(), 5000U);
    }
    // Nobody wants what is there to be replayed: the server rests all the same.
    MonitorClient other(server, {{36}});
    const auto ticks = [&] {
        const auto stat = runCommand({"cat", "/proc/" + std::to_string(server.pid()) + "/stat"});
        std::string text = stat.output.substr(stat.output.rfind(')') + 2);
        for (int fields = 0; fields < 11; ++fields)
            text.erase(0, text.find(' ') + 1);
        return std::stol(text) + std::stol(text.substr(text.find(' ')));
    };
    EXPECT_EQ(other.readAll(100ms), "");
    const long before = ticks();
    EXPECT_EQ(other.readAll(500ms), "");
    EXPECT_LE(ticks() - before, 10) << "of 50 that a busy server would take";
    MonitorClient again(server, {{1}});
    EXPECT_EQ(again.next(5000).events.size(), 5000U);
}

TEST(Replay, WhatNobodyWantsIsPassedOver) {
    const TemporaryFile file(line(2, 1) + line(1, 2) + line(77, 3).insert(1, "\"kind\":97,") +
                             line(1, 4));
    SimProgram server({"--replay", file.path()});
    MonitorClient monitor(server, {{1}, {77}});
    EXPECT_EQ(numbers(monitor.next(3)), (std::vector<std::string>{"2", "3", "4"}))
        << "a number that only the file has may be registered";
}

TEST(Replay, TheRateIsKept) {
    const TemporaryFile file(lines(1, 100));
    SimProgram server({"--replay", file.path(), "--replay-rate", "200"});
    MonitorClient monitor(server, {{1}});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(numbers(monitor.next(100)), upTo(100));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GT(took, 400ms) << "99 of them take 495 ms";
    EXPECT_LT(took, 5s);
}

TEST(Replay, TheFastestMonitorSetsThePaceAndNobodyMissesAnythingSilently) {
    constexpr std::size_t count = 100000;
    std::string all;
    for (std::size_t i = 0; i < 1000; ++i)
        all += line(1, static_cast<int>(i));
    const TemporaryFile file(all);
    SimProgram server({"--replay", file.path(), "--replay-repeat", std::to_string(count / 1000),
                       "--event-queue", "100000"});
    // The quick one is there first, so that nothing is over before it comes. One that does not read
    // at all holds up only itself: it has enough when its sockets are full.
    MonitorClient quick(server, {{1}});
    MonitorClient slow(server, {{1}});
    std::size_t heard = 0;
    wire::Response response = quick.next(1000);
    heard += response.events.size();
    const std::size_t first = heard;
    EXPECT_EQ(first, 1000U);
    // Everything from the quick one's first event on, without a gap.
    int expected = std::stoi(numbers(response).back());
    while (heard < count / 2 && response.code == -1) {
        response = quick.next(1000);
        for (const std::string &number : numbers(response)) {
            expected = (expected + 1) % 1000;
            ASSERT_EQ(number, std::to_string(expected));
        }
        heard += response.events.size();
    }
    EXPECT_GE(heard, count / 2);
    EXPECT_EQ(response.code, -1) << response.diagnostic;
    // The slow one has its beginning without a gap, and is told that there is no more.
    wire::Response last;
    std::size_t got = 0;
    std::optional<int> before;
    while (last.code != 51 && got < count) {
        last = slow.next(1);
        for (const std::string &number : numbers(last)) {
            expected = before ? (*before + 1) % 1000 : std::stoi(number);
            ASSERT_EQ(number, std::to_string(expected));
            before = expected;
        }
        got += last.events.size();
    }
    EXPECT_EQ(last.code, 51);
    EXPECT_LT(got, count);
    EXPECT_NE(last.diagnostic.find(std::to_string(got) + " events were delivered"),
              std::string::npos)
        << last.diagnostic << ", " << got;
}

TEST(Replay, AMonitorThatReadsAloneGetsEverything) {
    constexpr int count = 50000;
    const TemporaryFile file(lines(1, count));
    SimProgram server({"--replay", file.path(), "--event-queue", "2000"});
    MonitorClient monitor(server, {{1}});
    EXPECT_EQ(numbers(monitor.next(count)), upTo(count));
}

TEST(Replay, AFifoMayHaveManyWriters) {
    const std::string path = std::string(TEST_DIR) + "/fifo-" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    {
        SimProgram server({"--replay", path});
        MonitorClient monitor(server, {{1}, {99}});
        for (int writer = 1; writer <= 3; ++writer) {
            std::ofstream(path) << line(1, writer) << "rubbish\n"
                                << line(99, writer).insert(1, "\"kind\":97,");
            const std::string number = std::to_string(writer);
            EXPECT_EQ(numbers(monitor.next(2)), (std::vector<std::string>{number, number}));
        }
    }
    std::remove(path.c_str());
}

/** Lets programs that are started meanwhile read their standard input from a descriptor. */
class StandardInput {
  public:
    explicit StandardInput(int descriptor) : saved_(dup(STDIN_FILENO)) {
        dup2(descriptor, STDIN_FILENO);
    }
    ~StandardInput() {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }
    StandardInput(const StandardInput &) = delete;
    StandardInput &operator=(const StandardInput &) = delete;

  private:
    int saved_;
};

void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t size = write(descriptor, text.data(), text.size());
        ASSERT_GT(size, 0);
        text.remove_prefix(static_cast<std::size_t>(size));
    }
}

TEST(Replay, StandardInputMayBeAPipe) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    {
        const StandardInput input(ends[0]);
        SimProgram server({"--replay", "-"});
        close(ends[0]);
        MonitorClient monitor(server, {{1}});
        writeAll(ends[1], lines(1, 3) + "\n[]\n" + lines(1, 4, 4));
        EXPECT_EQ(numbers(monitor.next(4)), upTo(4));
        writeAll(ends[1], std::string(70U * 1024 * 1024, 'x') + "\n" + line(1, 5));
        EXPECT_EQ(numbers(monitor.next(1)), upTo(5, 5)) << "after a line that is too long";
        EXPECT_LT(server.residentKilobytes(), 200000);
        // The last line needs no end.
        const std::string last = line(1, 6);
        writeAll(ends[1], last.substr(0, last.size() - 1));
        close(ends[1]);
        EXPECT_EQ(numbers(monitor.next(1)), upTo(6, 6));
        EXPECT_EQ(monitor.readAll(100ms), "");
    }
}

TEST(Replay, StandardInputMayBeAFile) {
    const TemporaryFile file(lines(1, 3));
    const int descriptor = open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
    const StandardInput input(descriptor);
    close(descriptor);
    SimProgram server({"--replay", "-", "--replay-repeat", "2"});
    MonitorClient monitor(server, {{1}});
    EXPECT_EQ(numbers(monitor.next(6)), (std::vector<std::string>{"1", "2", "3", "1", "2", "3"}));
}

/** Runs the server with this standard input until it has said `part` on standard error. */
std::string reportOf(const std::string &input, const std::vector<std::string> &arguments) {
    std::vector<std::string> all = {STRATA_SIM, "--listen", "127.0.0.1:0"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runCommand(all, input).output;
}

TEST(Replay, BadLinesAreNamedBeforeTheServerStarts) {
    const TemporaryFile file(line(1, 1) + "\n{\"type\":1,\"kind\":5}\n");
    EXPECT_EQ(reportOf("", {"--replay", file.path()}),
              "strata-sim: " + file.path() + ": line 3: \"kind\" is not 97 to 125\n");
    EXPECT_EQ(reportOf("", {"--replay", "/no/such/file"}),
              "strata-sim: cannot read /no/such/file: No such file or directory\n");
    EXPECT_EQ(reportOf("", {"--replay", TEST_DIR}),
              std::string("strata-sim: cannot read ") + TEST_DIR + ": it is a directory\n");
}

} // namespace
