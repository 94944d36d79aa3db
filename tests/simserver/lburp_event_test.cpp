#include "event_fixture.h"
#include "lburp.h"
#include "watch.h"

namespace {

using lburp::dn;
using wire::hex;
using wire::message;
using wire::number;
using wire::text;
using wire::wideNumber;
using Values = std::vector<std::string>;

/** The other connection's updates come in bulk, under the message id 5. */
class LburpEventTest : public EventTest {
  protected:
    LburpEventTest() {
        client_.bindAdmin();
        client_.ask(lburp::start());
    }

    wire::Response bulk(std::uint8_t request, const std::vector<std::string> &list) {
        const auto responses = client_.send(message(5, lburp::operations(request, list)));
        return responses.empty() ? wire::Response{} : responses.front();
    }
    std::vector<std::string> steps() {
        return {add(), wire::modify(kNew, {{0, {"title", {"x"}}}}),
                lburp::rename(kNew, "cn=Vega", "ou=people,dc=example,dc=com"), wire::remove(kVega)};
    }

    static constexpr const char *kVega = "cn=Vega,ou=people,dc=example,dc=com";
    LocalClient client_{server_, 7};
};

TEST_F(LburpEventTest, EntriesAndValuesAsUsual) {
    Monitored monitor(server_, {{1}, {2}, {3}, {4}, {5}, {6}});
    EXPECT_EQ(bulk(1, steps()).code, 0);
    EXPECT_EQ(
        monitor.events(),
        (Values{event(1, 0, entry(kNew, 1, "0154")), event(3, 0, entry(kNew, 2, "0154")),
                event(5, 0, value(kNew, "title", "x", 2)),
                event(4, 0, entry(kVega, 3, "0154", kNew)),
                event(6, 0, value(kVega, "cn", "Nova", 3)),
                event(5, 0, value(kVega, "cn", "Vega", 3)), event(2, 0, entry(kVega, 4, "0153"))}));
}

TEST_F(LburpEventTest, EachUpdateHasTheEventOfItsOrdinaryRequest) {
    Monitored monitor(server_, {{15}, {16}, {17}, {19}, {24}});
    const auto update = [](std::uint8_t type, const std::string &tag, const char *name,
                           const Values &names, std::uint8_t code, const char *diagnostic) {
        return event(type, code,
                     element(0x75, head() + wideNumber(tag) +
                                       number(static_cast<std::uint8_t>(names.size())) +
                                       text(name) + text(code != 0 ? kTop : "") + text(diagnostic) +
                                       number(code) + (names.empty() ? "" : strings(0x80, names))),
                     address());
    };
    const auto renamed =
        event(19, 0,
              element(0x77, head() + number(1) + text(kNew) + text("cn=Vega") +
                                text("ou=people,dc=example,dc=com") + text("") + number(0)),
              address());
    EXPECT_EQ(bulk(1, steps()).code, 0);
    EXPECT_EQ(monitor.events(), (Values{update(15, "68", kNew, {"objectClass", "cn", "sn"}, 0, ""),
                                        update(17, "66", kNew, {"title"}, 0, ""), renamed,
                                        update(16, "4a", kVega, {}, 0, "")}));
    EXPECT_EQ(bulk(2, {wire::remove(kNew)}).code, 80);
    EXPECT_EQ(monitor.events(), Values{update(16, "4a", kNew, {}, 32,
                                              "there is no entry \"cn=Nova,dc=example,dc=com\"")});
    EXPECT_EQ(bulk(3, {wire::modify(kAda, {{2, {"userPassword", {"x"}}}})}).code, 0);
    EXPECT_EQ(monitor.events().size(), 2U) << "and that of the password";
}

TEST_F(LburpEventTest, RequestsAreExtendedOperationsWhenTheyAreAnswered) {
    Monitored monitor(server_, {{21}, {23}});
    (void)monitor.events();
    const auto called = [](const std::string &in, const char *oid, const char *name) {
        return event(21, 0,
                     element(0x79, head() + in + hex("0201ff") + text(lburp::kArc + oid) +
                                       text(name) + number(0)),
                     address());
    };
    const auto answered =
        event(23, 0, element(0x7b, head() + wideNumber("78") + number(0) + number(45) + text("")),
              address());
    EXPECT_EQ(bulk(2, {}).code, -1) << "no answer";
    EXPECT_EQ(monitor.events(), Values{}) << "it waits";
    client_.send(message(8, wire::tlv(0x50, "\x05")));
    EXPECT_EQ(bulk(1, {}).code, 0);
    EXPECT_EQ(monitor.events(), (Values{called(number(5), "6", "lburp-operation"), answered}));
    EXPECT_EQ(client_.send(message(5, lburp::end(1))).at(0).code, 0);
    EXPECT_EQ(monitor.events(), (Values{called(number(5), "4", "lburp-end"), answered}));
}

TEST_F(LburpEventTest, PersistentSearchesHearOfEachChangeInOrder) {
    Watch watch(server_, {.base = kTop});
    client_.send(message(6, lburp::operations(2, {steps()[2], steps()[3]})));
    EXPECT_EQ(watch.changes().entries, Values{});
    EXPECT_EQ(bulk(1, {steps()[0], steps()[1], steps()[0]}).code, 80) << "the third one";
    const auto seen = watch.changes();
    EXPECT_EQ(seen.entries, (Values{kNew, kNew, kVega, kVega}));
    Values controls;
    for (const auto &list : seen.entryControls)
        controls.push_back(list.at(0).value);
    EXPECT_EQ(controls, (Values{entryChange(1, nullptr, 1), entryChange(4, nullptr, 2),
                                entryChange(8, kNew, 3), entryChange(2, nullptr, 4)}));
}

TEST_F(LburpEventTest, MessagesAreCountedOnce) {
    const std::int64_t before = server_.directory.monitor.operations;
    client_.send(message(6, lburp::operations(2, {})));
    EXPECT_EQ(bulk(1, {add(), wire::remove(kNew)}).code, 0);
    EXPECT_EQ(server_.directory.monitor.operations, before + 2);
}

} // namespace
