#include "event_refusal.h"

#include "session_check.h"

#include <gtest/gtest.h>
#include <qldapx.h>

namespace test {
namespace {

int registerPlain(LDAP *ld, int *id) {
    EventSpecification events[] = {{7, 0}, {8, 0}};
    return ldap_monitor_events(ld, 2, events, id);
}

int registerFiltered(LDAP *ld, int *id) {
    char filter[] = "(cn=*)";
    FilteredEventSpecification events[] = {{7, 0, filter}};
    return ldap_monitor_events_filtered(ld, 1, events, id);
}

// RFC 4511, 4.12: an unknown extended operation is answered with no response OID.
void expectRefusal(LDAP *ld, MessagePtr answer, int code, const std::string &message) {
    int given = -1, count = -1;
    char *text = nullptr;
    EventSpecification unwritten{};
    EventSpecification *events = &unwritten;
    spoilSessionCode(ld);
    EXPECT_EQ(
        ldap_parse_monitor_events_response(ld, answer.release(), &given, &text, &count, &events, 1),
        LDAP_SUCCESS);
    EXPECT_EQ(sessionCode(ld), LDAP_SUCCESS);
    EXPECT_EQ(given, code);
    EXPECT_STREQ(text, message.c_str());
    EXPECT_EQ(count, 0);
    EXPECT_EQ(events, nullptr);
    ldap_memfree(text);
}

} // namespace

void expectEventsRefused(LDAP *ld, const std::string &base, int code, const std::string &message) {
    for (auto *registration : {registerPlain, registerFiltered, registerPlain}) {
        int id = 0;
        ASSERT_EQ(registration(ld, &id), LDAP_SUCCESS);
        MessagePtr answer = answerTo(ld, id);
        ASSERT_NE(answer, nullptr);
        expectRefusal(ld, std::move(answer), code, message);
        expectSearchWorks(ld, base);
    }
    int id = 0;
    ASSERT_EQ(registerPlain(ld, &id), LDAP_SUCCESS);
    EXPECT_EQ(ldap_abandon_ext(ld, id, nullptr, nullptr), LDAP_SUCCESS);
    expectSearchWorks(ld, base);
}

} // namespace test
