// Controls: made, and looked for in what came.
#include "answers.h"

namespace api_test {
namespace {

namespace controls = qldapx::controls;
using qldapx::session_ref;

std::string described(const qldapx::result<qldapx::control> &control) {
    if (!control)
        return describe(control.error());
    return describe(control->oid()) + (control->is_critical() ? " critical " : " ") +
           toHex(control->value());
}

class CxxControls : public testing::Test {
  protected:
    const qldapx::session session = *qldapx::initialize("ldap://127.0.0.1:1");
};

TEST_F(CxxControls, AreMade) {
    // SEQUENCE { changeTypes INTEGER, changesOnly BOOLEAN, returnECs BOOLEAN }
    EXPECT_EQ(described(controls::persistent_search(session, {5})),
              "2.16.840.1.113730.3.4.3 critical 30 09 02 01 05 01 01 ff 01 01 ff");
    EXPECT_EQ(described(controls::persistent_search(session, {15, false, false},
                                                    controls::criticality::optional)),
              "2.16.840.1.113730.3.4.3 30 09 02 01 0f 01 01 00 01 01 00");
    EXPECT_EQ(described(controls::proxied_authorization(session, "o=a")),
              "2.16.840.1.113730.3.4.18 critical 6f 3d 61");
    EXPECT_EQ(described(controls::reference(session, controls::criticality::optional)),
              "2.16.840.1.907341.1.1.5150.101.1 ");
    EXPECT_EQ(described(controls::reference(session)),
              "2.16.840.1.907341.1.1.5150.101.1 critical ");
    const auto rights = controls::effective_rights(session, 1);
    ASSERT_TRUE(rights);
    EXPECT_EQ(rights->oid(), "2.16.840.1.907341.1.27.101.33");
    const auto status = controls::server_status(session, {1, 1, 1, 1, 1, 1, 1});
    ASSERT_TRUE(status);
    EXPECT_EQ(status->oid(), "2.16.840.1.907341.1.27.101.40");
    EXPECT_TRUE(status->is_critical());
}

TEST_F(CxxControls, HaveTheItemsThatAreAskedFor) {
    const GetEffectiveItem item = {"cn", nullptr};
    const GetEffectiveItem *const items[] = {&item, nullptr};
    const auto control = controls::effective_rights(session, 2, items);
    ASSERT_TRUE(control);
    EXPECT_NE(control->value().find("cn"), std::string_view::npos);
    const GetEffectiveItem empty = {nullptr, nullptr};
    const GetEffectiveItem *const wrong[] = {&empty, nullptr};
    EXPECT_EQ(described(controls::effective_rights(session, 2, wrong)), "-3||");
    EXPECT_EQ(described(controls::effective_rights(session, 2)), "-9||");
}

// Without a session nothing is made.
TEST(CxxControlsWithoutASession, AreNotMade) {
    const session_ref none;
    EXPECT_EQ(controls::persistent_search(none, {1}).error().code(), LDAP_PARAM_ERROR);
    EXPECT_EQ(controls::proxied_authorization(none, "o=a").error().code(), LDAP_PARAM_ERROR);
    EXPECT_EQ(controls::reference(none).error().code(), LDAP_PARAM_ERROR);
    EXPECT_EQ(controls::server_status(none, {}).error().code(), LDAP_PARAM_ERROR);
}

/** A list of one control, as an answer has it. */
class Answered {
  public:
    Answered(const char *oid, const char *hex) : oid_(oid), value_(fromHex(hex)) {
        control_.ldctl_oid = oid_.data();
        control_.ldctl_value = {value_.size(), value_.data()};
    }
    qldapx::control_list_ref list() { return {qldapx::borrow, list_}; }

  private:
    Bytes oid_, value_;
    LDAPControl control_{};
    LDAPControl *list_[2] = {&control_, nullptr};
};

constexpr char entryChange[] = "2.16.840.1.113730.3.4.7";

TEST_F(CxxControls, TellOfAChange) {
    // SEQUENCE { changeType ENUMERATED, previousDN OCTET STRING, changeNumber [0] }
    Answered renamed(entryChange, "30 0b 0a 01 08 04 03 6f 3d 61 80 01 07");
    const auto change = controls::entry_change(session, renamed.list());
    ASSERT_TRUE(change) << describe(change.error());
    EXPECT_EQ(change->type, 8);
    EXPECT_EQ(change->previous_dn.str(), "o=a");
    EXPECT_EQ(change->number, 7);
    Answered added(entryChange, "30 03 0a 01 01");
    const auto other = controls::entry_change(session, added.list());
    ASSERT_TRUE(other);
    EXPECT_EQ(other->type, 1);
    EXPECT_FALSE(other->previous_dn);
    EXPECT_EQ(other->number, std::nullopt);
}

TEST_F(CxxControls, TellOfTheServersStatus) {
    Answered some("2.16.840.1.907341.1.27.101.40", "30 03 81 01 05");
    const auto status = controls::server_status_answer(session, some.list(), {{-1, -1, -1, -1}});
    ASSERT_TRUE(status) << describe(status.error());
    EXPECT_EQ(status->numbers[0], -1);
    EXPECT_EQ(status->numbers[1], 5);
    EXPECT_EQ(status->numbers[3], -1);
}

TEST_F(CxxControls, ThatAreMissingOrMalformedAreErrors) {
    Answered strange("1.2.3", "30 00");
    const auto absent = [&](auto read) { return read(session_ref(session), strange.list()); };
    EXPECT_EQ(absent(controls::entry_change).error().code(), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(absent(controls::reference_answer).error().code(), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(controls::server_status_answer(session, {}).error().code(), LDAP_CONTROL_NOT_FOUND);
    Answered broken(entryChange, "30 05");
    EXPECT_EQ(controls::entry_change(session, broken.list()).error().code(), LDAP_DECODING_ERROR);
}

TEST_F(CxxControls, OfAnAnswerThatHasNone) {
    ScriptedPeer peer({ScriptedPeer::answers({searchEntry("o=a"), searchDone(0)})});
    const session_ref at = borrowed(peer);
    const int id = *qldapx::url::start(at, "ldap:///o=a");
    const qldapx::message entry = *at.wait(id), done = *at.wait(id);
    EXPECT_EQ(controls::of_entry(at, done).error().code(), LDAP_PARAM_ERROR);
    const auto ofEntry = controls::of_entry(at, entry);
    ASSERT_TRUE(ofEntry) << describe(ofEntry.error());
    EXPECT_FALSE(*ofEntry);
    const auto ofResult = controls::of_result(at, done);
    ASSERT_TRUE(ofResult) << describe(ofResult.error());
    EXPECT_FALSE(*ofResult);
    EXPECT_EQ(controls::of_result(at, entry).error().code(), LDAP_NO_RESULTS_RETURNED);
}

} // namespace
} // namespace api_test
