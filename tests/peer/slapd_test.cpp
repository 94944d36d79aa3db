// The library over a session with OpenLDAP's slapd, which knows none of the Strata operations.
#include "slapd_server.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>
#include <thread>

namespace {

using test::SlapdServer;

class Slapd : public testing::Test {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<SlapdServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override { ld = server->session(); }
    void TearDown() override { ldap_unbind_ext_s(ld, nullptr, nullptr); }

    [[nodiscard]] int sessionCode() const {
        int code = 0;
        ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
        return code;
    }

    // The DNs of a chain of messages, sorted.
    [[nodiscard]] std::vector<std::string> dns(LDAPMessage *chain) const {
        std::vector<std::string> names;
        for (LDAPMessage *entry = ldap_first_entry(ld, chain); entry != nullptr;
             entry = ldap_next_entry(ld, entry)) {
            char *dn = ldap_get_dn(ld, entry);
            names.emplace_back(dn);
            ldap_memfree(dn);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    static inline std::unique_ptr<SlapdServer> server;
    LDAP *ld = nullptr;
};

const std::vector<std::string> everybody = {"cn=Ada,ou=people,dc=example,dc=com",
                                            "cn=Ben,ou=people,dc=example,dc=com",
                                            "cn=Cleo,ou=people,dc=example,dc=com"};

TEST_F(Slapd, WhoAmIOnTheSameSession) {
    berval *identity = nullptr;
    ASSERT_EQ(ldap_whoami_s(ld, &identity, nullptr, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(std::string(identity->bv_val, identity->bv_len),
              std::string("dn:") + SlapdServer::adminDn);
    ber_bvfree(identity);
}

TEST_F(Slapd, UrlSearchGivesAMessageIdAndItsAnswer) {
    int msgid = ldap_url_search(
        ld, "ldap:///ou=people,dc=example,dc=com?cn,mail?one?(objectClass=inetOrgPerson)", 0);
    ASSERT_GT(msgid, 0);
    LDAPMessage *chain = nullptr;
    ASSERT_EQ(ldap_result(ld, msgid, LDAP_MSG_ALL, nullptr, &chain), LDAP_RES_SEARCH_RESULT);
    EXPECT_EQ(dns(chain), everybody);
    LDAPMessage *first = ldap_first_entry(ld, chain);
    berval **mail = ldap_get_values_len(ld, first, "mail");
    ASSERT_NE(mail, nullptr);
    EXPECT_NE(std::string(mail[0]->bv_val).find("@example.com"), std::string::npos);
    ldap_value_free_len(mail);
    EXPECT_EQ(ldap_get_values_len(ld, first, "sn"), nullptr) << "only cn and mail were asked for";
    ldap_msgfree(chain);
}

TEST_F(Slapd, UrlSearchForTypesOnly) {
    LDAPMessage *chain = nullptr;
    ASSERT_EQ(ldap_url_search_s(ld, "ldap:///cn=Ada,ou=people,dc=example,dc=com?mail", 1, &chain),
              LDAP_SUCCESS);
    ASSERT_EQ(ldap_count_entries(ld, chain), 1);
    berval **mail = ldap_get_values_len(ld, ldap_first_entry(ld, chain), "mail");
    EXPECT_TRUE(mail == nullptr || mail[0] == nullptr);
    ldap_value_free_len(mail);
    ldap_msgfree(chain);
}

TEST_F(Slapd, UrlSearchStWithinItsTime) {
    LDAPMessage *chain = nullptr;
    timeval patience{10, 0};
    ASSERT_EQ(
        ldap_url_search_st(ld, "ldap:///dc=example,dc=com??sub?(cn=Cleo)", 0, &patience, &chain),
        LDAP_SUCCESS);
    EXPECT_EQ(dns(chain), std::vector<std::string>{everybody[2]});
    ldap_msgfree(chain);
}

TEST_F(Slapd, UrlSearchGoesOverTheSessionWhateverHostTheUrlNames) {
    LDAPMessage *chain = nullptr;
    ASSERT_EQ(ldap_url_search_s(ld,
                                "ldap://nowhere.invalid:1/"
                                "ou=people,dc=example,dc=com??one?(cn=Ada)",
                                0, &chain),
              LDAP_SUCCESS);
    EXPECT_EQ(dns(chain), std::vector<std::string>{everybody[0]});
    ldap_msgfree(chain);
}

TEST_F(Slapd, UrlWithoutADnReadsTheRootDse) {
    LDAPMessage *chain = nullptr;
    ASSERT_EQ(ldap_url_search_s(ld, "ldap:///?namingContexts", 0, &chain), LDAP_SUCCESS);
    berval **contexts = ldap_get_values_len(ld, ldap_first_entry(ld, chain), "namingContexts");
    ASSERT_NE(contexts, nullptr);
    EXPECT_STREQ(contexts[0]->bv_val, "dc=example,dc=com");
    ldap_value_free_len(contexts);
    ldap_msgfree(chain);
}

TEST_F(Slapd, UrlSearchPassesTheServersErrorOn) {
    LDAPMessage *chain = nullptr;
    EXPECT_EQ(ldap_url_search_s(ld, "ldap:///ou=nobody,dc=example,dc=com", 0, &chain),
              LDAP_NO_SUCH_OBJECT);
    EXPECT_EQ(sessionCode(), LDAP_NO_SUCH_OBJECT);
    EXPECT_NE(chain, nullptr) << "the message carries the matched DN";
    ldap_msgfree(chain);
}

TEST_F(Slapd, BadUrlsAreRefusedBeforeAnythingIsSent) {
    for (const char *url : {"", "people", "http://example.com/", "ldap:///dc=x??upside"}) {
        EXPECT_EQ(ldap_url_search(ld, url, 0), -1) << url;
        EXPECT_EQ(sessionCode(), LDAP_PARAM_ERROR) << url;
    }
    EXPECT_EQ(ldap_url_search(ld, "ldap:///dc=example,dc=com??sub?(cn=", 0), -1);
    EXPECT_EQ(sessionCode(), LDAP_FILTER_ERROR);
    EXPECT_EQ(ldap_url_search(ld,
                              "ldap:///dc=example,dc=com???"
                              "?!x-unknown",
                              0),
              -1);
    EXPECT_EQ(sessionCode(), LDAP_NOT_SUPPORTED);
}

struct Refusal {
    const char *name;
    std::function<int(LDAP *)> call;
};

char dn[] = "ou=people,dc=example,dc=com";
char attribute[] = "cn";
char filterText[] = "person$cn$$$";

const Refusal refusals[] = {
    {"Split", [](LDAP *ld) { return ldap_split_partition(ld, dn, 0); }},
    {"Count",
     [](LDAP *ld) {
         int count = 0;
         return ldap_partition_entry_count(ld, dn, &count);
     }},
    {"ReplicaInfo",
     [](LDAP *ld) {
         ReplicaInfo info{};
         return ldap_get_replica_info(ld, dn, dn, &info);
     }},
    {"ListReplicas",
     [](LDAP *ld) {
         char **list = nullptr;
         return ldap_list_replicas(ld, dn, &list);
     }},
    {"SetFilter", [](LDAP *ld) { return ldap_set_replication_filter(ld, dn, filterText); }},
    {"GetFilter",
     [](LDAP *ld) {
         char *text = nullptr;
         return ldap_get_replication_filter(ld, dn, &text);
     }},
    {"BindDn",
     [](LDAP *ld) {
         char *identity = nullptr;
         return ldap_get_bind_dn(ld, &identity);
     }},
    {"Privileges",
     [](LDAP *ld) {
         int bits = 0;
         return ldap_get_effective_privileges(ld, dn, dn, attribute, &bits);
     }},
    {"Kora",
     [](LDAP *ld) {
         const unsigned short name[] = {'A', 0};
         char *text = nullptr;
         return ldap_kora_to_ldap(ld, name, &text);
     }},
    {"Refresh", [](LDAP *ld) { return ldap_refresh_server(ld); }},
    {"Limber", [](LDAP *ld) { return ldap_trigger_back_process(ld, 3, dn); }},
};

// RFC 4511, 4.12: an unknown extended operation is a protocolError, with no response OID. The
// server's code wins over the missing OID.
TEST_F(Slapd, RefusesUnknownExtendedOperationsAndTheCodePassesUnchanged) {
    for (const Refusal &refusal : refusals) {
        EXPECT_EQ(refusal.call(ld), LDAP_PROTOCOL_ERROR) << refusal.name;
        EXPECT_EQ(sessionCode(), LDAP_PROTOCOL_ERROR) << refusal.name;
        char *diagnostic = nullptr;
        ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &diagnostic);
        EXPECT_STREQ(diagnostic, "unsupported extended operation") << refusal.name;
        ldap_memfree(diagnostic);
    }
}

TEST_F(Slapd, SessionsInParallelDoNotDisturbEachOther) {
    std::vector<std::thread> threads;
    std::vector<int> good(4);
    for (int &count : good)
        threads.emplace_back([&count] {
            LDAP *own = server->session();
            for (int round = 0; round < 50; ++round) {
                LDAPMessage *chain = nullptr;
                int code =
                    ldap_url_search_s(own, "ldap:///ou=people,dc=example,dc=com??one", 0, &chain);
                count += code == LDAP_SUCCESS && ldap_count_entries(own, chain) == 3 &&
                         ldap_refresh_server(own) == LDAP_PROTOCOL_ERROR;
                ldap_msgfree(chain);
            }
            ldap_unbind_ext_s(own, nullptr, nullptr);
        });
    for (std::thread &thread : threads)
        thread.join();
    for (int count : good)
        EXPECT_EQ(count, 50);
}

} // namespace
