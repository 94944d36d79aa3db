// The families together against strata-sim, as a program uses them.
#include "answers.h"
#include "support/expected_leak.h"
#include "system/simulator.h"

namespace api_test {
namespace {

using namespace std::chrono_literals;
using qldapx::modifications;
namespace bulk = qldapx::bulk;
namespace controls = qldapx::controls;
namespace events = qldapx::events;

constexpr char people[] = "ou=people,dc=example,dc=com";

class CxxSimulator : public testing::Test {
  protected:
    CxxSimulator() {
        EXPECT_EQ(describe(session.set_timeout(20s)), "done");
        EXPECT_EQ(describe(session.bind_simple(test::adminDn, test::adminPassword)), "done");
    }
    const test::Simulator simulator;
    const qldapx::session session = *qldapx::initialize(simulator.uri());
};

TEST_F(CxxSimulator, CountsAPartition) {
    const auto count = qldapx::partition::entry_count(session, "dc=example,dc=com");
    ASSERT_TRUE(count) << describe(count.error());
    EXPECT_GT(*count, 100);
    EXPECT_EQ(describe(qldapx::partition::split(session, people)), "done");
    const auto none = qldapx::partition::entry_count(session, "ou=none,dc=example,dc=com");
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().code(), LDAP_NO_SUCH_OBJECT);
    EXPECT_FALSE(none.error().message().empty());
}

TEST_F(CxxSimulator, TellsTheMatchedDn) {
    const auto found = qldapx::url::search(session, "ldap:///cn=none,ou=people,dc=example,dc=com");
    ASSERT_FALSE(found.outcome);
    EXPECT_EQ(found.outcome.error().code(), LDAP_NO_SUCH_OBJECT);
    EXPECT_EQ(found.outcome.error().matched_dn(), people);
}

TEST_F(CxxSimulator, AddsInBulk) {
    auto update = bulk::start(session);
    ASSERT_TRUE(update) << describe(update.error());
    EXPECT_GT(update->transaction_size(), 0);
    modifications attributes;
    attributes.attribute("objectClass", {"inetOrgPerson"})
        .attribute("cn", {"Bulk"})
        .attribute("sn", {"Bulk"});
    bulk::batch batch;
    batch.push_back(bulk::remove("cn=nobody,ou=people,dc=example,dc=com"));
    batch.push_back(bulk::add("cn=Bulk,ou=people,dc=example,dc=com", attributes));
    EXPECT_EQ(describe(update->send(batch)), "1");
    const auto answer = update->collect();
    ASSERT_TRUE(answer) << describe(answer.error());
    ASSERT_TRUE(answer->outcome) << describe(answer->outcome.error());
    ASSERT_EQ(answer->outcome->size(), 1U);
    EXPECT_EQ(answer->outcome->begin()->operationNumber, 1);
    EXPECT_EQ(answer->outcome->begin()->resultCode, LDAP_NO_SUCH_OBJECT);
    EXPECT_EQ(describe(update->finish()), "done");
    EXPECT_EQ(
        describe(
            qldapx::url::search(session, "ldap:///cn=Bulk,ou=people,dc=example,dc=com").outcome),
        "done");
}

TEST_F(CxxSimulator, ReportsEvents) {
    auto stream = events::monitor(session, {{21, 0}});
    ASSERT_TRUE(stream) << describe(stream.error());
    EXPECT_EQ(stream->accepted_events().size(), 1U);
    const qldapx::session other = *qldapx::initialize(simulator.uri());
    EXPECT_TRUE(qldapx::partition::entry_count(other, "dc=example,dc=com"));
    const std::string wanted = "2.16.840.1.907341.1.27.100.13";
    stream->set_patience(20s);
    std::string operation;
    for (const events::event &event : *stream) {
        const events::payload_view payload = event.payload();
        const auto *data = std::get_if<const ExtOpEventData *>(&payload);
        ASSERT_NE(data, nullptr);
        operation = (*data)->string1;
        if (operation == wanted)
            break;
    }
    EXPECT_EQ(operation, wanted);
}

TEST_F(CxxSimulator, BacksAnEntryUpAndRestoresIt) {
    constexpr char dn[] = "cn=Ada Brandt,ou=people,dc=example,dc=com";
    qldapx::backup::image image(session, dn, "secret");
    std::string data, sizes;
    while (image.has_more()) {
        const auto piece = image.next();
        ASSERT_TRUE(piece) << describe(piece.error());
        data += piece->data();
        sizes = std::string(piece->chunk_sizes());
    }
    EXPECT_EQ(ldap_delete_ext_s(session.get(), dn, nullptr, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(describe(qldapx::backup::restore(session, dn, "secret", data, sizes.data())), "done");
    EXPECT_EQ(
        qldapx::backup::image(session, "cn=none," + std::string(people)).next().error().code(),
        LDAP_NO_SUCH_OBJECT);
}

TEST_F(CxxSimulator, SavesASchema) {
    const auto fetched = qldapx::schema::fetch(session);
    ASSERT_TRUE(fetched) << describe(fetched.error());
    modifications fields;
    fields.attribute("OID", {"1.3.6.1.4.1.99999.1"})
        .attribute("NAME", {"cxxTest"})
        .attribute("SUP", {"name"});
    constexpr auto kind = qldapx::schema::kind::attribute_type;
    EXPECT_EQ(describe(fetched->add(kind, fields)), "done");
    EXPECT_EQ(describe(fetched->save(session)), "done");
    EXPECT_TRUE(qldapx::schema::fetch(session)->find(kind, "cxxTest"));
}

/** The result of a search for the root DSE with this control. */
qldapx::message resultWith(const qldapx::session &session, const qldapx::control &control) {
    LDAPControl *list[] = {control.get(), nullptr};
    EXPECT_EQ(describe(session.set_controls(list)), "done");
    const int id = *qldapx::url::start(session, "ldap:///");
    EXPECT_EQ(describe(session.set_controls(nullptr)), "done");
    qldapx::message answer = *session.wait(id);
    while (answer.type() != LDAP_RES_SEARCH_RESULT)
        answer = *session.wait(id);
    return answer;
}

TEST_F(CxxSimulator, AnswersControls) {
    const auto status = controls::server_status(session, {1, 1, 1, 1, 1, 1, 1});
    const auto list = controls::of_result(session, resultWith(session, *status));
    ASSERT_TRUE(list) << describe(list.error());
    const auto numbers = controls::server_status_answer(session, *list);
    EXPECT_TRUE(numbers) << describe(numbers.error());
    const auto reference = controls::reference(session);
    const auto others = controls::of_result(session, resultWith(session, *reference));
    ASSERT_TRUE(others) << describe(others.error());
    const ExpectedLeak parts; // which the caller does not get
    EXPECT_TRUE(controls::reference_answer(session, *others));
}

TEST_F(CxxSimulator, NoticesAChange) {
    const auto persistent = controls::persistent_search(session, {2});
    ASSERT_TRUE(persistent);
    LDAPControl *list[] = {persistent->get(), nullptr};
    EXPECT_EQ(describe(session.set_controls(list)), "done");
    const int id = *qldapx::url::start(session, "ldap:///dc=example,dc=com??sub");
    EXPECT_EQ(describe(session.set_controls(nullptr)), "done");
    const qldapx::session other = *qldapx::initialize(simulator.uri());
    EXPECT_TRUE(other.bind_simple(test::adminDn, test::adminPassword));
    constexpr char dn[] = "cn=Ada Brandt,ou=people,dc=example,dc=com";
    EXPECT_EQ(ldap_delete_ext_s(other.get(), dn, nullptr, nullptr), LDAP_SUCCESS);
    const auto entry = session.wait(id);
    ASSERT_TRUE(entry) << describe(entry.error());
    const auto came = controls::of_entry(session, *entry);
    ASSERT_TRUE(came) << describe(came.error());
    const auto change = controls::entry_change(session, *came);
    ASSERT_TRUE(change) << describe(change.error());
    EXPECT_EQ(change->type, 2);
}

} // namespace
} // namespace api_test
