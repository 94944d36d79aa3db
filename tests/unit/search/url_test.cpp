// Searches by URL: what of the URL reaches the wire, and how the search ends.
#include "support/case_name.h"
#include "support/expected_leak.h"
#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <chrono>
#include <gtest/gtest.h>
#include <qldapx.h>

namespace qldapx_test {
namespace {

// SearchRequest ::= [APPLICATION 3] SEQUENCE { baseObject, scope, derefAliases, sizeLimit,
//     timeLimit, typesOnly, filter, attributes }
Bytes searchRequest(const std::string &base, int scope, bool attrsonly, const Bytes &filter,
                    const Bytes &attributes) {
    return tlv(
        0x63, join({octetString(base), tlv(0x0a, Bytes(1, static_cast<char>(scope))),
                    fromHex("0a 01 00 02 01 00 02 01 00"),
                    fromHex(attrsonly ? "01 01 ff" : "01 01 00"), filter, sequence({attributes})}));
}

struct UrlCase {
    const char *name;
    const char *url;
    int attrsonly;
    const char *base;
    int scope;
    // Filter and attribute names as on the wire, in hexadecimal.
    const char *filter;
    const char *attributes;
};

// (objectClass=*), as libldap writes it
constexpr const char *present = "87 0b 6f 62 6a 65 63 74 63 6c 61 73 73";
constexpr const char *cnIsA = "a3 07 04 02 63 6e 04 01 61";

const UrlCase urlCases[] = {
    {"DnAlone", "ldap:///o=x", 0, "o=x", 0, present, ""},
    {"Nothing", "ldap:///", 0, "", 0, present, ""},
    {"NoSlash", "ldap://", 0, "", 0, present, ""},
    {"ScopeBase", "ldap:///o=x??base", 0, "o=x", 0, present, ""},
    {"ScopeOne", "ldap:///o=x??one", 0, "o=x", 1, present, ""},
    {"ScopeSub", "ldap:///o=x??sub", 0, "o=x", 2, present, ""},
    {"ScopeInCapitals", "LDAP:///o=x??SUB", 0, "o=x", 2, present, ""},
    {"OneAttribute", "ldap:///o=x?cn", 0, "o=x", 0, present, "04 02 63 6e"},
    {"TwoAttributes", "ldap:///o=x?cn,sn?one", 0, "o=x", 1, present, "04 02 63 6e 04 02 73 6e"},
    {"AllAttributes", "ldap:///o=x?*", 0, "o=x", 0, present, "04 01 2a"},
    {"Filter", "ldap:///o=x?\?\?(cn=a)", 0, "o=x", 0, cnIsA, ""},
    {"FilterEncoded", "ldap:///o=x??sub?%28cn%3da%29", 0, "o=x", 2, cnIsA, ""},
    {"FilterWithoutParentheses", "ldap:///o=x??sub?cn=a", 0, "o=x", 2, cnIsA, ""},
    {"FilterEmpty", "ldap:///o=x??sub?", 0, "o=x", 2, present, ""},
    {"DnEncoded", "ldap:///o=x%20y%3fz%C3%BC", 0, "o=x y?z\xc3\xbc", 0, present, ""},
    {"AttributesEncoded", "ldap:///o=x?%63n", 0, "o=x", 0, present, "04 02 63 6e"},
    {"HostIgnored", "ldap://other.example:1389/o=x", 0, "o=x", 0, present, ""},
    {"SchemeIgnored", "ldaps://other.example/o=x", 0, "o=x", 0, present, ""},
    {"Enclosed", "<URL:ldap:///o=x>", 0, "o=x", 0, present, ""},
    {"TypesOnly", "ldap:///o=x", 1, "o=x", 0, present, ""},
    {"TypesOnlyByAnyNumber", "ldap:///o=x", -7, "o=x", 0, present, ""},
    {"ExtensionIgnored", "ldap:///o=x????e-extra=1", 0, "o=x", 0, present, ""},
    {"AllParts", "ldap://h:1/o=x?cn?sub?(cn=a)?e-extra", 1, "o=x", 2, cnIsA, "04 02 63 6e"},
};

std::ostream &operator<<(std::ostream &stream, const UrlCase &row) {
    return stream << row.name;
}

class UrlTest : public testing::TestWithParam<UrlCase> {
  protected:
    static std::string expected() {
        const UrlCase &row = GetParam();
        return toHex(ldapMessage(1, searchRequest(row.base, row.scope, row.attrsonly != 0,
                                                  fromHex(row.filter), fromHex(row.attributes))));
    }

    static void expectRequest(ScriptedPeer &peer) {
        ASSERT_EQ(peer.received().size(), 1U);
        EXPECT_EQ(toHex(peer.received()[0]), expected());
    }
};

TEST_P(UrlTest, OkWithoutWaiting) {
    ScriptedPeer peer({});
    EXPECT_EQ(ldap_url_search(peer.session(), GetParam().url, GetParam().attrsonly), 1);
    expectRequest(peer);
}

TEST_P(UrlTest, OkWithWaiting) {
    ScriptedPeer peer({ScriptedPeer::answer(searchDone(LDAP_SUCCESS))});
    LDAPMessage *res = nullptr;
    EXPECT_EQ(ldap_url_search_s(peer.session(), GetParam().url, GetParam().attrsonly, &res),
              LDAP_SUCCESS);
    ldap_msgfree(res);
    expectRequest(peer);
}

TEST_P(UrlTest, OkWithWaitingForSomeTime) {
    ScriptedPeer peer({ScriptedPeer::answer(searchDone(LDAP_SUCCESS))});
    LDAPMessage *res = nullptr;
    timeval timeout{5, 0};
    EXPECT_EQ(
        ldap_url_search_st(peer.session(), GetParam().url, GetParam().attrsonly, &timeout, &res),
        LDAP_SUCCESS);
    EXPECT_EQ(timeout.tv_sec, 5);
    ldap_msgfree(res);
    expectRequest(peer);
}

INSTANTIATE_TEST_SUITE_P(Url, UrlTest, testing::ValuesIn(urlCases), caseName<UrlCase>);

struct BadUrlCase {
    const char *name;
    const char *url;
    int result;
};

const BadUrlCase badUrlCases[] = {
    {"Null", nullptr, LDAP_PARAM_ERROR},
    {"Empty", "", LDAP_PARAM_ERROR},
    {"NoUrl", "o=x", LDAP_PARAM_ERROR},
    {"OtherScheme", "http://h/o=x", LDAP_PARAM_ERROR},
    {"UnknownScope", "ldap:///o=x??deep", LDAP_PARAM_ERROR},
    {"TooManyParts", "ldap:///o=x????e?f", LDAP_PARAM_ERROR},
    {"BadPort", "ldap://h:port/o=x", LDAP_PARAM_ERROR},
    {"EscapeWithoutDigits", "ldap:///o%zz", LDAP_PARAM_ERROR},
    {"EscapeWithOneDigit", "ldap:///o=x%4", LDAP_PARAM_ERROR},
    {"EscapeAtTheEnd", "ldap:///o=x%", LDAP_PARAM_ERROR},
    {"EscapeInTheFilter", "ldap:///o=x??\?(cn=%4g)", LDAP_PARAM_ERROR},
    {"EscapedNul", "ldap:///ou=a%00,o=x", LDAP_PARAM_ERROR},
    {"EscapeBehindAnEscape", "ldap:///o=%41%zz", LDAP_PARAM_ERROR},
    {"UnclosedEnclosure", "<ldap:///o=x", LDAP_PARAM_ERROR},
    {"CriticalExtension", "ldap:///o=x?\?\?\?!1.2.3=4", LDAP_NOT_SUPPORTED},
    {"OneCriticalExtensionOfTwo", "ldap:///o=x????a=1,!b", LDAP_NOT_SUPPORTED},
    {"UnclosedFilter", "ldap:///o=x?\?\?(cn=a", LDAP_FILTER_ERROR},
    {"FilterWithoutAttribute", "ldap:///o=x?\?\?(=a)", LDAP_FILTER_ERROR},
    {"UnbalancedFilter", "ldap:///o=x?\?\?(&(cn=a)", LDAP_FILTER_ERROR},
};

std::ostream &operator<<(std::ostream &stream, const BadUrlCase &row) {
    return stream << row.name;
}

int storedResult(LDAP *ld) {
    int code = 0;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

// What a caller's variable may hold before; the searches must not leave it there.
LDAPMessage *stalePointer() {
    static char memory;
    return reinterpret_cast<LDAPMessage *>(&memory);
}

class BadUrlTest : public testing::TestWithParam<BadUrlCase> {};

TEST_P(BadUrlTest, ErrorsWithoutSending) {
    ScriptedPeer peer({});
    EXPECT_EQ(ldap_url_search(peer.session(), GetParam().url, 0), -1);
    EXPECT_EQ(storedResult(peer.session()), GetParam().result);
    EXPECT_TRUE(peer.received().empty());
}

TEST_P(BadUrlTest, ErrorsOfTheWaitingForms) {
    ScriptedPeer peer({});
    LDAPMessage *res = stalePointer();
    EXPECT_EQ(ldap_url_search_s(peer.session(), GetParam().url, 0, &res), GetParam().result);
    EXPECT_EQ(res, nullptr);
    EXPECT_EQ(storedResult(peer.session()), GetParam().result);
    timeval timeout{5, 0};
    EXPECT_EQ(ldap_url_search_st(peer.session(), GetParam().url, 0, &timeout, &res),
              GetParam().result);
    EXPECT_TRUE(peer.received().empty());
}

INSTANTIATE_TEST_SUITE_P(Url, BadUrlTest, testing::ValuesIn(badUrlCases), caseName<BadUrlCase>);

constexpr const char *url = "ldap:///o=x??sub";

TEST(UrlSearch, OkCollectsTheEntries) {
    ScriptedPeer peer({ScriptedPeer::answers(
        {searchEntry("cn=a,o=x"), searchEntry("cn=b,o=x"), searchDone(LDAP_SUCCESS)})});
    LDAPMessage *res = nullptr;
    ASSERT_EQ(ldap_url_search_s(peer.session(), url, 0, &res), LDAP_SUCCESS);
    EXPECT_EQ(ldap_count_messages(peer.session(), res), 3);
    char *dn = ldap_get_dn(peer.session(), ldap_first_entry(peer.session(), res));
    EXPECT_STREQ(dn, "cn=a,o=x");
    ldap_memfree(dn);
    ldap_msgfree(res);
}

TEST(UrlSearch, OkWithoutWaitingIsCollectedByMessageId) {
    ScriptedPeer peer({ScriptedPeer::answer(searchDone(LDAP_SUCCESS)),
                       ScriptedPeer::answer(searchDone(LDAP_BUSY))});
    int first = ldap_url_search(peer.session(), url, 0);
    int second = ldap_url_search(peer.session(), url, 0);
    for (auto [msgid, expected] : {std::pair(second, LDAP_BUSY), std::pair(first, LDAP_SUCCESS)}) {
        LDAPMessage *res = nullptr;
        ASSERT_EQ(ldap_result(peer.session(), msgid, LDAP_MSG_ALL, nullptr, &res),
                  LDAP_RES_SEARCH_RESULT);
        int code = -1;
        ldap_parse_result(peer.session(), res, &code, nullptr, nullptr, nullptr, nullptr, 1);
        EXPECT_EQ(code, expected);
    }
}

TEST(UrlSearch, ErrorsOfTheServerComeWithTheMessages) {
    for (int code : {LDAP_OPERATIONS_ERROR, LDAP_SIZELIMIT_EXCEEDED, LDAP_NO_SUCH_OBJECT,
                     LDAP_INSUFFICIENT_ACCESS, LDAP_OTHER}) {
        ScriptedPeer peer({ScriptedPeer::answers({searchEntry("o=x"), searchDone(code)})});
        LDAPMessage *res = nullptr;
        EXPECT_EQ(ldap_url_search_s(peer.session(), url, 0, &res), code);
        EXPECT_EQ(ldap_count_entries(peer.session(), res), 1);
        EXPECT_EQ(storedResult(peer.session()), code);
        ldap_msgfree(res);
    }
}

TEST(UrlSearch, ErrorsOfTheConnection) {
    ScriptedPeer::Step brokenOff{{searchEntry("o=x")}, {}, true};
    for (const ScriptedPeer::Step &step :
         {ScriptedPeer::closeConnection(), brokenOff, ScriptedPeer::raw(octetString("no LDAP"))}) {
        ScriptedPeer peer({step});
        LDAPMessage *res = stalePointer();
        int result = ldap_url_search_s(peer.session(), url, 0, &res);
        EXPECT_LT(result, 0);
        EXPECT_EQ(storedResult(peer.session()), result);
        EXPECT_EQ(res, nullptr);
    }
}

TEST(UrlSearch, ErrorsOfAConnectionThatIsGone) {
    ScriptedPeer peer({ScriptedPeer::closeConnection()});
    LDAPMessage *res = nullptr;
    EXPECT_EQ(ldap_url_search_s(peer.session(), url, 0, &res), LDAP_SERVER_DOWN);
    EXPECT_EQ(res, nullptr);
}

// libldap takes the notice's own result for the search's. None is a time-out that would be followed
// by an abandon.
TEST(UrlSearch, NoticeOfDisconnectionIsNoAnswer) {
    for (int code : {LDAP_SUCCESS, LDAP_UNAVAILABLE, LDAP_TIMEOUT}) {
        ScriptedPeer peer({ScriptedPeer::raw(
            ldapMessage(0, extendedResponse(code, "1.3.6.1.4.1.1466.20036", std::nullopt)))});
        const int expected = code == LDAP_SUCCESS ? LDAP_SERVER_DOWN : code;
        LDAPMessage *res = stalePointer();
        const ExpectedLeak notice; // libldap keeps it
        EXPECT_EQ(ldap_url_search_s(peer.session(), url, 0, &res), expected);
        EXPECT_EQ(storedResult(peer.session()), expected);
        EXPECT_EQ(res, nullptr);
        EXPECT_EQ(peer.received().size(), 1U);
    }
}

class Stopwatch {
  public:
    [[nodiscard]] std::chrono::milliseconds elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start_);
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

constexpr std::chrono::milliseconds shortWait(100);
constexpr std::chrono::milliseconds clearlyTooLong(5000);

// AbandonRequest ::= [APPLICATION 16] MessageID
void expectSearchAndAbandon(ScriptedPeer &peer) {
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(toHex(peer.received()[1]), toHex(ldapMessage(2, tlv(0x50, "\x01"))));
}

TEST(UrlSearch, TimeoutAbandonsTheSearch) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    LDAPMessage *res = stalePointer();
    timeval timeout{0, 100000};
    Stopwatch watch;
    EXPECT_EQ(ldap_url_search_st(peer.session(), url, 0, &timeout, &res), LDAP_TIMEOUT);
    EXPECT_GE(watch.elapsed(), shortWait);
    EXPECT_LT(watch.elapsed(), clearlyTooLong);
    EXPECT_EQ(res, nullptr);
    EXPECT_EQ(storedResult(peer.session()), LDAP_TIMEOUT);
    expectSearchAndAbandon(peer);
}

// The search's result is awaited, not merely its first entry.
TEST(UrlSearch, TimeoutAfterTheFirstEntry) {
    ScriptedPeer peer({ScriptedPeer::answer(searchEntry("o=x"))});
    LDAPMessage *res = nullptr;
    timeval timeout{0, 100000};
    EXPECT_EQ(ldap_url_search_st(peer.session(), url, 0, &timeout, &res), LDAP_TIMEOUT);
    EXPECT_EQ(res, nullptr);
    expectSearchAndAbandon(peer);
}

TEST(UrlSearch, TimeoutOfZeroDoesNotWait) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    LDAPMessage *res = nullptr;
    timeval timeout{0, 0};
    EXPECT_EQ(ldap_url_search_st(peer.session(), url, 0, &timeout, &res), LDAP_TIMEOUT);
    expectSearchAndAbandon(peer);
}

TEST(UrlSearch, TimeoutOfTheSessionHolds) {
    for (bool withStNull : {false, true}) {
        ScriptedPeer peer({ScriptedPeer::silence()});
        timeval timeout{0, 100000};
        ldap_set_option(peer.session(), LDAP_OPT_TIMEOUT, &timeout);
        LDAPMessage *res = nullptr;
        Stopwatch watch;
        EXPECT_EQ(withStNull ? ldap_url_search_st(peer.session(), url, 0, nullptr, &res)
                             : ldap_url_search_s(peer.session(), url, 0, &res),
                  LDAP_TIMEOUT);
        EXPECT_LT(watch.elapsed(), clearlyTooLong);
        EXPECT_EQ(storedResult(peer.session()), LDAP_TIMEOUT);
        expectSearchAndAbandon(peer);
    }
}

TEST(UrlSearch, SessionServesOnAfterATimeout) {
    ScriptedPeer peer({ScriptedPeer::silence(), ScriptedPeer::silence(),
                       ScriptedPeer::answer(searchDone(LDAP_NO_SUCH_OBJECT))});
    LDAPMessage *res = nullptr;
    timeval timeout{0, 1000};
    EXPECT_EQ(ldap_url_search_st(peer.session(), url, 0, &timeout, &res), LDAP_TIMEOUT);
    EXPECT_EQ(ldap_url_search_s(peer.session(), url, 0, &res), LDAP_NO_SUCH_OBJECT);
    ldap_msgfree(res);
}

} // namespace
} // namespace qldapx_test
