// Schema access with a server that has every schema of its package, and lets nobody change them
// there.
#include "schema_check.h"
#include "schema_edit.h"
#include "slapd_server.h"

#include <gtest/gtest.h>

namespace {

using namespace test;

constexpr unsigned type = LDAP_SCHEMA_ATTRIBUTE_TYPE;

class SlapdSchema : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>(SlapdServer::Transport::unixSocket, "",
                                               SlapdServer::allSchemas);
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override { ld = server->session(); }
    void TearDown() override { ldap_unbind_ext_s(ld, nullptr, nullptr); }

    static inline std::unique_ptr<SlapdServer> server;
    LDAP *ld = nullptr;
};

TEST_F(SlapdSchema, EveryDescriptionIsFound) {
    const std::string dn = subschemaOf(ld);
    EXPECT_EQ(dn, "cn=Subschema");
    SchemaValues values = searchSchema(ld, dn);
    for (unsigned kind : {0U, 1U, 2U, 3U, 4U})
        EXPECT_GT(values[kind].size(), 30U) << schemaAttributes[kind];
    int unreadable = expectSchemaIs(fetchSchema(ld).get(), values);
    RecordProperty("unreadable", unreadable);
    EXPECT_EQ(expectSchemaIs(fetchSchema(ld, dn.c_str()).get(), values), unreadable);
}

TEST_F(SlapdSchema, OtherEntriesHaveNone) {
    SchemaPtr schema = fetchSchema(ld, "ou=people,dc=example,dc=com");
    ASSERT_NE(schema, nullptr);
    EXPECT_EQ(expectSchemaIs(schema.get(), {}), 0);
    LDAPSchema *none = nullptr;
    EXPECT_EQ(ldap_schema_fetch(ld, &none, "cn=nobody,dc=example,dc=com"), LDAP_NO_SUCH_OBJECT);
}

// The answer is the one to a plain modify request.
TEST_F(SlapdSchema, TheSubentryCannotBeModified) {
    char attribute[] = "attributeTypes", value[] = "( 1.3.6.1.4.1.32473.9.1 NAME 'peerType' )";
    char *values[] = {value, nullptr};
    LDAPMod addition{LDAP_MOD_ADD, attribute, {values}};
    LDAPMod *additions[] = {&addition, nullptr};
    int refusal = ldap_modify_ext_s(ld, "cn=Subschema", additions, nullptr, nullptr);
    ASSERT_GT(refusal, LDAP_SUCCESS);
    SchemaPtr schema = fetchSchema(ld);
    const Attributes element = {{"OID", {"1.3.6.1.4.1.32473.9.1"}}, {"NAME", {"peerType"}}};
    for (const char *dn : {static_cast<const char *>(nullptr), "cn=Subschema"}) {
        ASSERT_EQ(addElement(schema.get(), type, element), LDAP_SUCCESS);
        EXPECT_EQ(ldap_schema_save(ld, schema.get(), dn), refusal);
        EXPECT_NE(lookUp(schema.get(), type, "peerType"), "result 32");
        EXPECT_EQ(ldap_schema_save(ld, schema.get(), "cn=nobody,dc=nowhere"), LDAP_SUCCESS);
    }
    EXPECT_EQ(searchElement(ld, type, "1.3.6.1.4.1.32473.9.1"), std::nullopt);
}

} // namespace
