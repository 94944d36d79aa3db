#include "events.h"
#include "program.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace std::chrono_literals;
using wire::message;

/** A line with an event whose first string is the number, and a second one of that size. */
std::string line(int type, int number, std::size_t more = 0) {
    return R"({"type":)" + std::to_string(type) + R"(,"payload":{"string1":")" +
           std::to_string(number) + R"(","string2":")" + std::string(more, 'x') + "\"}}\n";
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

std::string lines(int type, int last, int from = 1, std::size_t more = 0) {
    std::string all;
    for (int number = from; number <= last; ++number)
        all += line(type, number, more);
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

/** A FIFO that the test writes to; it does not wait for a reader who is not there. */
class Fifo {
  public:
    Fifo() : path_(std::string(TEST_DIR) + "/fifo-" + std::to_string(getpid())) {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        descriptor_ = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    ~Fifo() {
        close(descriptor_);
        std::remove(path_.c_str());
    }
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;
    const std::string &path() const { return path_; }

    void send(std::string_view text) {
        constexpr int patience = 20000;
        while (!text.empty()) {
            pollfd room{descriptor_, POLLOUT, 0};
            ASSERT_EQ(poll(&room, 1, patience), 1) << "nobody reads";
            const ssize_t size = write(descriptor_, text.data(), text.size());
            ASSERT_GT(size, 0);
            text.remove_prefix(static_cast<std::size_t>(size));
        }
    }

  private:
    std::string path_;
    int descriptor_ = -1;
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

/** What a monitor that reads at last has got: how many events without a gap, and what followed. */
std::pair<std::size_t, wire::Response> readToTheEnd(MonitorClient &monitor) {
    for (std::size_t got = 0;; ++got) {
        wire::Response response = monitor.next(1);
        if (response.events.empty())
            return {got, std::move(response)};
        EXPECT_EQ(std::stoul(numbers(response).at(0)), got);
    }
}

/**
 * Which of two monitors is the faster one is settled here, not by who has the larger buffers or
 * gets the processor: events come from a pipe, and only when the quick one has read those before.
 */
TEST(Replay, TheFastestMonitorSetsThePaceAndNobodyMissesAnythingSilently) {
    constexpr int batch = 40;    // for which a queue has room
    constexpr int batches = 500; // 20 MB: more than the sockets of one who does not read hold
    Fifo events;
    SimProgram server({"--replay", events.path(), "--event-queue", "100000"});
    MonitorClient quick(server, {{1}});
    MonitorClient slow(server, {{1}});
    for (int first = 0; first < batches * batch; first += batch) {
        events.send(lines(1, first + batch - 1, first, 1000));
        const auto heard = quick.next(batch);
        ASSERT_EQ(numbers(heard), upTo(first + batch - 1, first)) << heard.diagnostic;
    }
    const auto [got, last] = readToTheEnd(slow);
    EXPECT_EQ(last.code, 51);
    EXPECT_GT(got, 0U);
    EXPECT_LT(got, static_cast<std::size_t>(batches * batch));
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
