#include "bulk_update_refusal.h"

#include "directory.h"
#include "session_check.h"

#include <gtest/gtest.h>
#include <qldapx.h>

namespace test {
namespace {

constexpr int untouched = 4711;

std::string newEntry(const std::string &base) {
    return "ou=bulk," + base;
}

int requestOperations(LDAP *ld, const std::string &base, int *id) {
    std::string dn = newEntry(base), old = base;
    Attributes attributes = {{"objectClass", {"organizationalUnit"}}, {"ou", {"bulk"}}};
    Additions additions(attributes);
    LBURPOperation add{LDAP_REQ_ADD, dn.data(), additions.list(), nullptr};
    LBURPOperation remove{LDAP_REQ_DELETE, old.data(), nullptr, nullptr};
    LBURPOperation *batch[] = {&add, &remove, nullptr};
    return ldap_lburp_operation_request(ld, 1, batch, id);
}

int parseOperations(LDAP *ld, LDAPMessage *answer, int *code, char **text) {
    int count = untouched;
    LBURPOperationFailure unwritten{};
    LBURPOperationFailure *failures = &unwritten;
    int result = ldap_parse_lburp_operation_response(ld, answer, code, text, &count, &failures, 1);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(failures, nullptr);
    return result;
}

struct Step {
    const char *name;
    int (*request)(LDAP *ld, const std::string &base, int *id);
    int (*parse)(LDAP *ld, LDAPMessage *answer, int *code, char **text);
};

const Step steps[] = {
    {"start",
     [](LDAP *ld, const std::string &, int *id) { return ldap_lburp_start_request(ld, id); },
     [](LDAP *ld, LDAPMessage *answer, int *code, char **text) {
         int size = untouched;
         int result = ldap_parse_lburp_start_response(ld, answer, code, text, &size, 1);
         EXPECT_EQ(size, untouched);
         return result;
     }},
    {"operations", requestOperations, parseOperations},
    {"end",
     [](LDAP *ld, const std::string &, int *id) { return ldap_lburp_end_request(ld, 1, id); },
     [](LDAP *ld, LDAPMessage *answer, int *code, char **text) {
         return ldap_parse_lburp_end_response(ld, answer, code, text, 1);
     }},
};

// RFC 4511, 4.12: an unknown extended operation is answered with no response OID. The server's code
// is given nevertheless.
void expectRefusal(LDAP *ld, const Step &step, const std::string &base, int code,
                   const std::string &message) {
    int id = 0, given = untouched;
    char *text = nullptr;
    ASSERT_EQ(step.request(ld, base, &id), LDAP_SUCCESS);
    MessagePtr answer = answerTo(ld, id);
    ASSERT_NE(answer, nullptr);
    spoilSessionCode(ld);
    EXPECT_EQ(step.parse(ld, answer.release(), &given, &text), LDAP_NOT_SUPPORTED);
    EXPECT_EQ(sessionCode(ld), LDAP_NOT_SUPPORTED);
    EXPECT_EQ(given, code);
    EXPECT_STREQ(text, message.c_str());
    ldap_memfree(text);
}

int searchFor(LDAP *ld, const std::string &dn) {
    LDAPMessage *found = nullptr;
    int result = ldap_search_ext_s(ld, dn.c_str(), LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr,
                                   nullptr, nullptr, LDAP_NO_LIMIT, &found);
    ldap_msgfree(found);
    return result;
}

} // namespace

void expectBulkUpdateRefused(LDAP *ld, const std::string &base, int code,
                             const std::string &message) {
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        expectRefusal(ld, step, base, code, message);
        expectSearchWorks(ld, base);
        EXPECT_EQ(searchFor(ld, newEntry(base)), LDAP_NO_SUCH_OBJECT);
    }
    int id = 0;
    ASSERT_EQ(requestOperations(ld, base, &id), LDAP_SUCCESS);
    EXPECT_EQ(ldap_abandon_ext(ld, id, nullptr, nullptr), LDAP_SUCCESS);
    expectSearchWorks(ld, base);
}

} // namespace test
