// Schema access with a server that has about 1,800 descriptions and lets them be changed.
#include "environment_389.h"
#include "schema_check.h"
#include "schema_edit.h"

namespace {

using namespace test;

constexpr unsigned type = LDAP_SCHEMA_ATTRIBUTE_TYPE, objectClass = LDAP_SCHEMA_OBJECT_CLASS;
constexpr char typeOid[] = "1.3.6.1.4.1.32473.9.1", classOid[] = "1.3.6.1.4.1.32473.9.2";
constexpr char directoryString[] = "1.3.6.1.4.1.1466.115.121.1.15";

class Schema389 : public With389 {
  protected:
    void SetUp() override {
        With389::SetUp();
        schema = fetchSchema(ld);
        ASSERT_NE(schema, nullptr);
    }
    // The schema is everybody's: leaves none of the test's own elements behind.
    void TearDown() override {
        schema = fetchSchema(ld);
        for (auto [kind, oid] : {std::pair(objectClass, classOid), std::pair(type, typeOid)})
            if (ldap_schema_delete(schema.get(), kind, oid) == LDAP_SUCCESS) {
                EXPECT_EQ(save(), LDAP_SUCCESS);
            }
        schema.reset();
        With389::TearDown();
    }

    int save(const char *dn = nullptr) { return ldap_schema_save(ld, schema.get(), dn); }

    // A DN that no server has: had anything been sent, it would say so.
    void expectNothingToSave() { EXPECT_EQ(save("cn=nobody,dc=nowhere"), LDAP_SUCCESS); }

    int addType() {
        return addElement(schema.get(), type,
                          {{"OID", {typeOid}},
                           {"NAME", {"peerType", "peerTypeToo"}},
                           {"DESC", {"Of a test"}},
                           {"EQUALITY", {"caseIgnoreMatch"}},
                           {"SYNTAX", {directoryString}},
                           {"SINGLE-VALUE", {""}}});
    }
    int addClass() {
        return addElement(schema.get(), objectClass,
                          {{"OID", {classOid}},
                           {"NAME", {"peerClass"}},
                           {"SUP", {"top"}},
                           {"AUXILIARY", {""}},
                           {"MUST", {"cn"}},
                           {"MAY", {"peerType", "sn"}}});
    }
    int modify(unsigned kind, const char *name, const std::vector<FieldChange> &changes) {
        return modifyElement(schema.get(), kind, name, changes);
    }

    // What the server has now, but for what it adds by itself.
    Fields onServer(unsigned kind, const char *oid) {
        auto record = searchElement(writer, kind, oid);
        if (!record)
            return {};
        EXPECT_EQ(record->fields["X-ORIGIN"], std::vector<std::string>{"user defined"});
        record->fields.erase("X-ORIGIN");
        return record->fields;
    }
    Fields inStore(unsigned kind, const char *oid) {
        LDAPSchemaElement *element = nullptr;
        EXPECT_EQ(ldap_schema_get_by_name(schema.get(), oid, kind, &element), LDAP_SUCCESS);
        Fields fields = element != nullptr ? fieldsOfElement(element) : Fields();
        fields.erase("X-ORIGIN");
        return fields;
    }
    void expectSaved(const char *dn, unsigned kind, const char *oid) {
        Fields edited = inStore(kind, oid);
        EXPECT_EQ(save(dn), LDAP_SUCCESS);
        EXPECT_EQ(onServer(kind, oid), edited);
        expectNothingToSave();
        schema = fetchSchema(ld, dn);
        EXPECT_EQ(inStore(kind, oid), edited);
    }

    SchemaPtr schema;
};

TEST_F(Schema389, EveryDescriptionIsFound) {
    const std::string dn = subschemaOf(writer);
    EXPECT_EQ(dn, "cn=schema");
    SchemaValues values = searchSchema(writer, dn);
    std::size_t all = 0;
    for (const auto &kind : values)
        all += kind.size();
    EXPECT_GT(all, 1000U);
    int unreadable = expectSchemaIs(schema.get(), values);
    RecordProperty("unreadable", unreadable);
    EXPECT_EQ(expectSchemaIs(fetchSchema(ld, dn.c_str()).get(), values), unreadable);
}

TEST_F(Schema389, TheSubentrysNameIsTheRootDses) {
    char *dn = nullptr;
    EXPECT_EQ(get_schema_dn(ld, &dn), LDAP_SUCCESS);
    EXPECT_EQ(dn, subschemaOf(writer));
    ldap_memfree(dn);
}

// Stock files have words in the place of OIDs, such as "nsAdminDomain-oid".
TEST_F(Schema389, AClassWithoutAnOidIsBehindTheOthers) {
    int count = ldap_schema_get_count(schema.get(), objectClass);
    ASSERT_GT(count, 0);
    LDAPSchemaElement *last = nullptr;
    ASSERT_EQ(ldap_schema_get_by_index(schema.get(), count - 1, objectClass, &last), LDAP_SUCCESS);
    Fields fields = fieldsOfElement(last);
    EXPECT_FALSE(fields.contains("OID"));
    ASSERT_TRUE(fields.contains("NAME"));
    LDAPSchemaElement *named = nullptr;
    EXPECT_EQ(
        ldap_schema_get_by_name(schema.get(), fields["NAME"].front().c_str(), objectClass, &named),
        LDAP_SUCCESS);
    EXPECT_EQ(named, last);
}

TEST_F(Schema389, FetchingPassesTheServersErrorOn) {
    LDAPSchema *none = nullptr;
    EXPECT_EQ(ldap_schema_fetch(ld, &none, "cn=nobody,dc=example,dc=com"), LDAP_NO_SUCH_OBJECT);
}

class SavedTo389 : public Schema389, public testing::WithParamInterface<const char *> {};

// A type is changed before a class has it: the server does not let it go after that, even when it
// comes again in the same request.
TEST_P(SavedTo389, AdditionsChangesAndDeletions) {
    ASSERT_EQ(addType(), LDAP_SUCCESS);
    expectSaved(GetParam(), type, typeOid);
    ASSERT_EQ(modify(type, "PEERTYPETOO", {{LDAP_MOD_REPLACE, "DESC", {"Another one"}}}),
              LDAP_SUCCESS);
    expectSaved(GetParam(), type, typeOid);
    ASSERT_EQ(addClass(), LDAP_SUCCESS);
    expectSaved(GetParam(), objectClass, classOid);
    ASSERT_EQ(modify(objectClass, classOid,
                     {{LDAP_MOD_ADD, "MAY", {"description"}}, {LDAP_MOD_DELETE, "MAY", {"SN"}}}),
              LDAP_SUCCESS);
    expectSaved(GetParam(), objectClass, classOid);
    ASSERT_EQ(modify(objectClass, "peerClass", {{LDAP_MOD_REPLACE, "NAME", {"peerClassRenamed"}}}),
              LDAP_SUCCESS);
    expectSaved(GetParam(), objectClass, classOid);
    for (auto [kind, name] :
         {std::pair(objectClass, "peerClassRenamed"), std::pair(type, typeOid)}) {
        ASSERT_EQ(ldap_schema_delete(schema.get(), kind, name), LDAP_SUCCESS);
        ASSERT_EQ(save(GetParam()), LDAP_SUCCESS);
        EXPECT_EQ(lookUp(schema.get(), kind, name), "result 32");
    }
    EXPECT_EQ(searchElement(writer, objectClass, classOid), std::nullopt);
    EXPECT_EQ(searchElement(writer, type, typeOid), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Dn, SavedTo389, testing::Values(nullptr, "cn=schema"));

TEST_F(Schema389, SeveralEditsAreOneRequest) {
    ASSERT_EQ(addType(), LDAP_SUCCESS);
    ASSERT_EQ(modify(type, "peerType", {{LDAP_MOD_DELETE, "SINGLE-VALUE", {}}}), LDAP_SUCCESS);
    ASSERT_EQ(addClass(), LDAP_SUCCESS);
    ASSERT_EQ(modify(objectClass, "peerClass", {{LDAP_MOD_ADD, "MUST", {"uid"}}}), LDAP_SUCCESS);
    Fields editedClass = inStore(objectClass, classOid), editedType = inStore(type, typeOid);
    ASSERT_EQ(save(), LDAP_SUCCESS);
    EXPECT_EQ(onServer(objectClass, classOid), editedClass);
    EXPECT_EQ(onServer(type, typeOid), editedType);
}

// The server keeps the first edit all the same.
TEST_F(Schema389, OneRefusedEditIsTheRequestsResult) {
    ASSERT_EQ(addType(), LDAP_SUCCESS);
    ASSERT_EQ(ldap_schema_delete(schema.get(), type, "cn"), LDAP_SUCCESS);
    EXPECT_EQ(save(), LDAP_UNWILLING_TO_PERFORM);
    expectNothingToSave();
}

// A refused edit stays in the store and is not sent again.
TEST_F(Schema389, StandardElementsStay) {
    SchemaValues before = searchSchema(writer, "cn=schema");
    for (auto [kind, name] : {std::pair(type, "cn"), std::pair(objectClass, "person")}) {
        ASSERT_EQ(ldap_schema_delete(schema.get(), kind, name), LDAP_SUCCESS);
        EXPECT_EQ(save(), LDAP_UNWILLING_TO_PERFORM) << name;
        EXPECT_EQ(lookUp(schema.get(), kind, name), "result 32");
        expectNothingToSave();
    }
    EXPECT_EQ(searchSchema(writer, "cn=schema"), before);
}

TEST_F(Schema389, ATypeThatAClassHasStays) {
    ASSERT_EQ(addType(), LDAP_SUCCESS);
    ASSERT_EQ(addClass(), LDAP_SUCCESS);
    ASSERT_EQ(save(), LDAP_SUCCESS);
    Fields before = onServer(type, typeOid);
    ASSERT_EQ(modify(type, "peerType", {{LDAP_MOD_REPLACE, "DESC", {"Edited"}}}), LDAP_SUCCESS);
    EXPECT_EQ(save(), LDAP_UNWILLING_TO_PERFORM);
    EXPECT_EQ(inStore(type, typeOid)["DESC"], std::vector<std::string>{"Edited"});
    ASSERT_EQ(ldap_schema_delete(schema.get(), type, "peerType"), LDAP_SUCCESS);
    EXPECT_EQ(save(), LDAP_UNWILLING_TO_PERFORM);
    expectNothingToSave();
    EXPECT_EQ(onServer(type, typeOid), before);
}

TEST_F(Schema389, WhatTheServerDoesNotUnderstandIsRefused) {
    ASSERT_EQ(addElement(schema.get(), type,
                         {{"OID", {typeOid}}, {"NAME", {"peerType"}}, {"SYNTAX", {"1.2.3.4.5"}}}),
              LDAP_SUCCESS);
    EXPECT_EQ(save(), LDAP_INVALID_SYNTAX);
    EXPECT_NE(lookUp(schema.get(), type, typeOid), "result 32");
    expectNothingToSave();
    EXPECT_EQ(searchElement(writer, type, typeOid), std::nullopt);
}

TEST_F(Schema389, OthersMayReadAndNotWrite) {
    ASSERT_EQ(addType(), LDAP_SUCCESS);
    LDAP *reader = server().session(DirectoryServer389::readerDn);
    EXPECT_EQ(ldap_schema_save(reader, schema.get(), nullptr), LDAP_INSUFFICIENT_ACCESS);
    expectSchemaIs(fetchSchema(reader).get(), searchSchema(writer, "cn=schema"));
    ldap_unbind_ext_s(reader, nullptr, nullptr);
    EXPECT_EQ(searchElement(writer, type, typeOid), std::nullopt);
}

} // namespace
