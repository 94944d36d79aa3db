#include "system/event_bytes.h"
#include "system/peer.h"
#include "system/watching.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using namespace qldapx_test;
using testing::HasSubstr;
using testing::Not;

Result watch(const std::vector<Visit> &visits, const Arguments &more = {"--json"}) {
    const Peer peer(visits);
    Arguments all = {"events", "watch", "-H", peer.uri(), "--type", "7"};
    all.insert(all.end(), more.begin(), more.end());
    return runTool(all);
}

TEST(EventPeer, ARegistrationIsAnExtendedRequestAndEventsFollow) {
    const Result result = watch({{accepted() + event(7, "a", 32)}}, {"--count", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out,
                HasSubstr("  type     7  ConnectionEventData           result 32 No such "
                          "object\n    number1=1  number2=2  string1=\"a\"\n"));
}

TEST(EventPeer, WhatDoesNotDecodeIsNamedAndTheWatchGoesOn) {
    const Bytes strange[] = {
        notification(fromHex("300602010702010072")),                // cut short
        notification(sequence({octetString("x"), integer(0)})),     // no number
        ldapMessage(registrationId, tlv(0x79, tlv(0x80, "1.2.3"))), // another notification
        ldapMessage(registrationId, tlv(0x79, tlv(0x81, ""))),
    };
    for (const Bytes &bytes : strange) {
        SCOPED_TRACE(toHex(bytes));
        const Result result =
            watch({{accepted() + bytes + event(7, "after")}}, {"--json", "--count", "1"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.json()["payload"]["string1"], "after");
        EXPECT_THAT(result.err, HasSubstr("an event could not be understood"));
    }
    EXPECT_THAT(watch({{accepted() + strange[0] + event(7, "after")}}, {"--count", "1"}).err,
                HasSubstr("qldapx: warning: an event could not be understood: "
                          "<9 bytes: 300602010702010072>"));
}

TEST(EventPeer, ALongEventThatDoesNotDecodeIsShownInPart) {
    const Result result =
        watch({{accepted() + notification(Bytes(5000, '\x01')) + event(7, "x")}}, {"--count", "1"});
    EXPECT_THAT(result.err, HasSubstr("<5000 bytes: 01010101"));
    EXPECT_THAT(result.err, HasSubstr("01...>"));
    EXPECT_LT(result.err.size(), 300U);
}

TEST(EventPeer, AnEventBeforeTheAnswerCounts) {
    const Result result =
        watch({{event(7, "early") + accepted() + event(7, "late")}}, {"--json", "--count", "2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("early"));
    EXPECT_THAT(result.out, HasSubstr("late"));
}

TEST(EventPeer, TheServersEndOfTheRegistrationIsAFailure) {
    const std::vector<Visit> visits = {
        {accepted() + event(7, "a") + registrationEnd(11, "queue \x1b[31mfull")}};
    const Result json = watch(visits);
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.json()["payload"]["string1"], "a");
    EXPECT_EQ(json.error()["code"], 11);
    EXPECT_EQ(json.error()["operation"], "events watch");
    EXPECT_THAT(json.error()["reason"].get<std::string>(), HasSubstr("later events are lost"));
    const Result text = watch(visits, {});
    EXPECT_THAT(text.err, HasSubstr("server says:  queue \\x1b[31mfull"));
    EXPECT_THAT(text.err, HasSubstr("--reconnect"));
}

TEST(EventPeer, TheEndOfTheConnectionIsAFailure) {
    const Result result = watch({{accepted() + event(7, "a"), true}});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json()["payload"]["string1"], "a");
    EXPECT_EQ(result.error()["code"], -1);
    EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr("later events are lost"));
}

TEST(EventPeer, OtherAnswersThanARegistrationsAreFailures) {
    const Bytes other =
        ldapMessage(registrationId, extendedResponse(0, "1.2.3", acceptedValue({})));
    const std::tuple<Bytes, Json, const char *> cases[] = {
        {accepted({}), nullptr, "accepted none"},
        {other, -4, ""},
        {ldapMessage(registrationId, extendedResponse(0, {}, {})), nullptr, "accepted none"},
        {ldapMessage(registrationId, searchDone(0)), -4, ""},
        {accepted() + ldapMessage(registrationId, searchDone(0)), -4, "no event"},
        {registrationEnd(53, "no"), 53, ""},
    };
    for (const auto &[answer, code, reason] : cases) {
        SCOPED_TRACE(toHex(answer));
        const Result result = watch({{answer}});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.error()["code"], code);
        EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr(reason));
    }
}

TEST(EventPeer, NoAnswerInTimeIsAFailure) {
    const Result result = watch({{event(7, "early")}}, {"--json", "--timeout", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], -5);
    EXPECT_THAT(result.out, HasSubstr("early"));
}

TEST(EventPeer, AcceptedInPartIsAWarning) {
    const Result result = watch({{accepted({{7, 1}, {9, 0}}) + event(7, "x")}},
                                {"--type", "7:1,8,0x9", "--type", "10:2", "--count", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("does not report these events: 7, 8, 10:2\n"));
}

TEST(EventPeer, WhatAServerSendsDoesNotSteerTheTerminal) {
    const std::vector<Visit> visits = {{accepted() + event(7, "\x1b[2J\n\"\xff\"")},
                                       {accepted() + event(7, "\x1b[2J\n\"")}};
    EXPECT_THAT(watch({visits[0]}, {"--count", "1"}).out,
                HasSubstr("string1=<8 bytes: 1b5b324a0a22ff22>\n"));
    EXPECT_THAT(watch({visits[1]}, {"--count", "1"}).out,
                HasSubstr("string1=\"\\x1b[2J\\x0a\\\"\"\n"));
    const Json bytes = {{"base64", "G1sySgoi/yI="}};
    EXPECT_EQ(watch({visits[0]}, {"--json", "--count", "1"}).json()["payload"]["string1"], bytes);
    EXPECT_EQ(watch({visits[1]}, {"--json", "--count", "1"}).json()["payload"]["string1"],
              "\x1b[2J\n\"");
}

TEST(EventPeer, BytesAreBoundedForPeopleAndWholeForPrograms) {
    const std::vector<Visit> visit = {{accepted() + event(7, Bytes(1000, '\xff'))}};
    const std::string text = watch(visit, {"--count", "1"}).out;
    EXPECT_THAT(text, HasSubstr("string1=<1000 bytes: ffff"));
    EXPECT_THAT(text, HasSubstr("ff...>\n"));
    EXPECT_LT(text.size(), 300U);
    const Json json = watch(visit, {"--json", "--count", "1"}).json();
    EXPECT_EQ(json["payload"]["string1"]["base64"].get<std::string>().size(), 1336U);
}

TEST(EventPeer, WordsOfTheServerThatAreAnError) {
    const Result result = watch({{registrationEnd(50, "administrators only")}}, {});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("events watch: Insufficient access (50)"));
    EXPECT_THAT(result.err, HasSubstr("server says:  administrators only"));
}

// INTEGER type, OCTET STRING address at the event's end.
TEST(EventPeer, AddressesAreReadable) {
    const std::tuple<int, const char *, const char *> cases[] = {
        {1, "7f000001 0185", "from=127.0.0.1:389"},
        {2, "00000000000000000000000000000001 d903", "from=[::1]:55555"},
        {1, "7f000001", "from=type 1 <4 bytes: 7f000001>"},
        {2, "7f000001 0185", "from=type 2 <6 bytes: 7f0000010185>"},
        {9, "abcd", "from=type 9 <2 bytes: abcd>"},
    };
    for (const auto &[type, address, shown] : cases) {
        const Bytes bytes = notification(
            sequence({integer(7), integer(0), tlv(0x7d, join({integer(1), octetString("s")})),
                      integer(type), octetString(fromHex(address))}));
        const Result result = watch({{accepted() + bytes}}, {"--count", "1"});
        EXPECT_THAT(result.out, HasSubstr(std::string("string1=\"s\"  ") + shown + "\n"));
    }
}

constexpr const char *again = "--reconnect";

TEST(EventPeer, ALostRegistrationIsMadeAnewAndTheGapIsInTheStream) {
    const std::vector<Visit> ways[] = {
        {{accepted() + event(7, "a"), true}, {accepted() + event(7, "b")}},
        {{accepted() + event(7, "a") + registrationEnd(11, "too slow")},
         {accepted() + event(7, "b")}},
        {{accepted() + event(7, "a"), true},
         {registrationEnd(51, "wait")},
         {accepted() + event(7, "b")}},
    };
    for (const auto &visits : ways) {
        const Result result = watch(visits, {"--json", again, "--count", "2"});
        EXPECT_EQ(result.status, 0) << result.err;
        const auto lines = Watching::jsonLines(result.out);
        ASSERT_EQ(lines.size(), 3U);
        EXPECT_EQ(lines[0]["payload"]["string1"], "a");
        EXPECT_EQ(lines[2]["payload"]["string1"], "b");
        const Json &gap = lines[1]["gap"];
        EXPECT_EQ(gap["since"], lines[0]["time"]);
        EXPECT_EQ(gap["until"], lines[1]["time"]);
        EXPECT_LT(gap["since"], gap["until"]);
        EXPECT_LE(gap["until"], lines[2]["time"]);
        EXPECT_NE(gap["reason"], "");
        EXPECT_THAT(result.err, HasSubstr("may be missing"));
    }
}

TEST(EventPeer, TheGapsReasonIsTheServers) {
    const Result result = watch({{accepted() + event(7, "a") + registrationEnd(11, "too slow")},
                                 {accepted() + event(7, "b")}},
                                {again, "--count", "2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("ended the registration"));
    EXPECT_THAT(result.err, HasSubstr("(too slow); events since 2"));
    EXPECT_THAT(result.err, HasSubstr("warning: events between 2"));
    EXPECT_THAT(result.out, Not(HasSubstr("gap")));
}

TEST(EventPeer, WhatAnotherTryCannotMendEndsIt) {
    const Result result =
        watch({{accepted() + event(7, "a"), true}, {registrationEnd(50, "no longer")}},
              {"--json", again});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("\"code\":50"));
}

TEST(EventPeer, AGapThatIsOpenAtTheEndIsInTheStreamToo) {
    const Result result = watch({{accepted() + event(7, "a"), true}},
                                {"--json", again, "--for", "1.2", "--timeout", "1"});
    EXPECT_EQ(result.status, 0);
    const auto lines = Watching::jsonLines(result.out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1]["gap"]["since"], lines[0]["time"]);
}

} // namespace
} // namespace test
