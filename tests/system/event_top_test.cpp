#include "system/emulator.h"
#include "system/simulator.h"
#include "system/terminal.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <regex>

namespace test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

/** An event of 1000 that succeeded, one of 1001 that failed, and one with much to say. */
constexpr const char *someEvents =
    R"({"kind":114,"type":1000,"payload":{"number1":1,"string1":"first"}}
{"kind":117,"type":1001,"result":32,"payload":{"connection":{"text":"cn=x"},"string1":"\u001b[2Jcn=\u00e4\n"}}
{"kind":114,"type":1000,"payload":{"string1":"LONG"}}
)";

/** `qldapx events top` on a terminal. */
class Screen {
  public:
    explicit Screen(Terminal::Size size, const Arguments &more = {},
                    std::map<std::string, std::string> environment = {},
                    const Arguments &server = {})
        : size_(size), simulator_(std::in_place, options(server)) {
        Arguments all = simulator_->asAdministrator({"events", "top", "--type", "1000,1001,1"});
        all.insert(all.end(), more.begin(), more.end());
        environment.insert({"TERM", "xterm"});
        terminal_.emplace(all, Surroundings{environment, {}, {}}, size);
    }

    /** What the screen shows after the last whole frame. */
    static Emulator shown(const std::string &output, Terminal::Size size) {
        Emulator emulator(size.columns, size.rows);
        constexpr std::string_view frameEnd = "\x1b[?2026l";
        const bool isOver = output.ends_with("\x1b[?1049l");
        const std::size_t end = output.rfind(frameEnd);
        if (isOver || end != std::string::npos)
            emulator.feed(isOver ? output : output.substr(0, end));
        return emulator;
    }
    /** Waits until the screen shows it. */
    bool shows(const std::string &pattern) {
        const std::regex expression(pattern);
        return terminal_->waitUntil([&](const std::string &output) {
            last_ = shown(output, size_).text();
            return std::regex_search(last_, expression);
        });
    }
    [[nodiscard]] const std::string &last() const { return last_; }
    Terminal &terminal() { return *terminal_; }
    void endServer() { simulator_.reset(); }
    Result end(const std::string &keys) {
        terminal_->type(keys);
        return terminal_->finish();
    }

  private:
    [[nodiscard]] Arguments options(const Arguments &server) const {
        std::string lines = someEvents;
        lines.replace(lines.find("LONG"), 4, std::string(500, 'x'));
        Arguments all = {"--replay", folder_.write("events", lines)};
        all.insert(all.end(), server.begin(), server.end());
        return all;
    }

    Terminal::Size size_;
    TemporaryFolder folder_;
    std::optional<Simulator> simulator_;
    std::optional<Terminal> terminal_;
    std::string last_;
};

TEST(EventTop, ShowsTheTableAndTheLatestEvents) {
    for (const Terminal::Size size : {Terminal::Size{24, 80}, Terminal::Size{50, 200}}) {
        SCOPED_TRACE(size.columns);
        Screen screen(size);
        ASSERT_TRUE(screen.shows("3 events")) << screen.last();
        ASSERT_TRUE(screen.shows("\n +1000 +ConnectionEventData +2 +2\\.0")) << screen.last();
        EXPECT_THAT(screen.last(), ContainsRegex("^ldap://127\\.0\\.0\\.1:[0-9]+  since 20"));
        EXPECT_THAT(screen.last(), HasSubstr("1 with errors"));
        EXPECT_THAT(screen.last(), HasSubstr("TYPE  RECORD"));
        EXPECT_THAT(screen.last(), ContainsRegex("\n     1  -  +0  +0.0  +0.0  +0\n"));
        EXPECT_THAT(screen.last(), ContainsRegex("\n  1001  UpdateEventData  +1 .* 1\n"));
        EXPECT_THAT(screen.last(), ContainsRegex("[0-9.:]{12}   1000    0  number1=1 number2=0 "
                                                 "string1=\"first\"\n"));
        EXPECT_THAT(screen.last(), HasSubstr("  1001   32  number1=0"));
        EXPECT_THAT(screen.last(), HasSubstr("xxxx"));
        const Result result = screen.end("q");
        EXPECT_EQ(result.status, 0);
        const Emulator after = Screen::shown(result.out, size);
        EXPECT_FALSE(after.overflowed());
        EXPECT_FALSE(after.otherScreen());
        EXPECT_TRUE(after.cursorShown());
        EXPECT_TRUE(screen.terminal().echoes());
    }
}

TEST(EventTop, WhatAServerSendsDoesNotSteerTheTerminal) {
    Screen screen({24, 200});
    ASSERT_TRUE(screen.shows("3 events")) << screen.last();
    EXPECT_THAT(screen.last(), HasSubstr("string1=\"\\x1b[2Jcn=\xc3\xa4\\x0a\""));
}

TEST(EventTop, ASmallScreenShowsWhatFits) {
    Screen screen({5, 20});
    ASSERT_TRUE(screen.shows("3 events")) << screen.last();
    EXPECT_THAT(screen.last(), ContainsRegex("\n  1000 +2\n"));
    const Result result = screen.end("q");
    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(Screen::shown(result.out, {5, 20}).overflowed());
}

TEST(EventTop, FollowsTheTerminalsSize) {
    Screen screen({24, 80});
    ASSERT_TRUE(screen.shows("3 events"));
    screen.terminal().resize({30, 120});
    // A line of the new width: the long event's.
    ASSERT_TRUE(screen.terminal().waitUntil([](const std::string &output) {
        return output.find(std::string(60, 'x')) != std::string::npos;
    }));
    EXPECT_EQ(screen.end("q").status, 0);
}

TEST(EventTop, ManyTypesThatDoNotFitAreCounted) {
    std::string types = "2";
    for (int i = 3; i < 25; ++i)
        types += "," + std::to_string(i);
    Screen screen({24, 80}, {"--type", types});
    ASSERT_TRUE(screen.shows("  and 1[0-9] more\n")) << screen.last();
    EXPECT_TRUE(screen.shows("\n  1000  ConnectionEventData")) << screen.last();
}

TEST(EventTop, EventsThatAreNotAcceptedAreMarked) {
    Screen screen({24, 80}, {"--type", "4711"});
    EXPECT_TRUE(screen.shows("\n  4711  [(]not reported[)] +0 ")) << screen.last();
}

// Two of three events at 300 a second: the average is that of the seconds that have passed.
TEST(EventTop, AveragesOverWhatHasPassed) {
    Screen screen({24, 80}, {}, {}, {"--replay-repeat", "0", "--replay-rate", "300"});
    EXPECT_TRUE(screen.shows("\n +1000  ConnectionEventData +[0-9]{3} +[0-9.]+ +[1-9][0-9]{2}[.]"))
        << screen.last();
    EXPECT_EQ(screen.end("q").status, 0);
}

TEST(EventTop, PausesAndBeginsAnew) {
    Screen screen({24, 80}, {}, {}, {"--replay-repeat", "0", "--replay-rate", "300"});
    ASSERT_TRUE(screen.shows("[1-9][0-9]+ events"));
    screen.terminal().type("p");
    ASSERT_TRUE(screen.shows("  paused\n"));
    screen.terminal().type("p");
    ASSERT_TRUE(screen.shows("since [-0-9: ]+\n[1-9][0-9]{2,} events")) << screen.last();
    screen.terminal().type("r");
    ASSERT_TRUE(screen.shows("\n[0-9]{1,2} events")) << screen.last();
    EXPECT_EQ(screen.end("q").status, 0);
}

TEST(EventTop, TheTerminalIsAsBeforeHoweverItEnds) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGSEGV, SIGABRT}) {
        SCOPED_TRACE(signal);
        Screen screen({24, 80}, {}, {{"ASAN_OPTIONS", "handle_segv=0:handle_abort=0"}});
        ASSERT_TRUE(screen.shows("3 events"));
        EXPECT_FALSE(screen.terminal().echoes());
        screen.terminal().signal(signal);
        const Result result = screen.terminal().finish();
        EXPECT_EQ(result.status, 128 + signal);
        const Emulator after = Screen::shown(result.out, {24, 80});
        EXPECT_FALSE(after.otherScreen());
        EXPECT_TRUE(after.cursorShown());
        EXPECT_TRUE(screen.terminal().echoes());
    }
}

TEST(EventTop, CtrlCEndsIt) {
    Screen screen({24, 80});
    ASSERT_TRUE(screen.shows("3 events"));
    EXPECT_EQ(screen.end("\x03").status, 128 + SIGINT);
}

TEST(EventTop, TimeEndsIt) {
    Screen screen({24, 80}, {"--for", "0.5"});
    EXPECT_EQ(screen.terminal().finish().status, 0);
}

TEST(EventTop, ColourUnlessItIsNotWanted) {
    for (const bool wanted : {true, false}) {
        Screen screen({24, 80}, {},
                      wanted ? std::map<std::string, std::string>{}
                             : std::map<std::string, std::string>{{"NO_COLOR", "1"}});
        ASSERT_TRUE(screen.shows("3 events"));
        EXPECT_EQ(Screen::shown(screen.end("q").out, {24, 80}).coloured(), wanted);
    }
}

TEST(EventTop, AServerThatGoesIsAnErrorOrTriedAgain) {
    Screen once({24, 80});
    ASSERT_TRUE(once.shows("3 events"));
    once.endServer();
    const Result result = once.terminal().finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("events top:"));
    Screen again({24, 80}, {"--reconnect"});
    ASSERT_TRUE(again.shows("3 events"));
    again.endServer();
    ASSERT_TRUE(again.shows("^ldap://[^\n]*ended|^no connection")) << again.last();
    EXPECT_EQ(again.end("q").status, 0);
}

} // namespace
} // namespace test
