// The assertions of schema access: what stands on standard error, word by word.
#include "schema/samples.h"
#include "support/modifications.h"

#include <csignal>
#include <qldapx/schema_element.h>

namespace qldapx_test {
namespace {

void expectAssertion(const std::function<void()> &call, const std::string &place) {
    EXPECT_EXIT(call(), testing::KilledBySignal(SIGABRT),
                "schema_util\\.c:" + place + ": Assertion `0' failed\\.");
}

// A kind that there is not, written into an element of the store.
class SchemaAssertion : public testing::Test {
  protected:
    SchemaAssertion() { element_->kind = 8; }
    ~SchemaAssertion() override { element_->kind = 0; }

    SchemaPtr schema_ = fetched(0, {"( 1.2 NAME 'a' )"});
    LDAPSchemaElement *element_ = elementAt(schema_, 0, 0);
    char **strings_ = nullptr;
    LDAPSchemaElement *found_ = nullptr;
};

TEST_F(SchemaAssertion, FieldNames) {
    expectAssertion([&] { ldap_schema_get_field_names(element_, &strings_); },
                    "1098: ldap_schema_get_field_names");
}

TEST_F(SchemaAssertion, FieldValues) {
    expectAssertion([&] { ldap_schema_get_field_values(element_, "OID", &strings_); },
                    "1438: ldap_schema_get_field_values");
}

TEST_F(SchemaAssertion, ElementToString) {
    char *text = nullptr;
    const char *attribute = nullptr;
    expectAssertion([&] { ldap_schema_element_to_string(element_, &text, &attribute); },
                    "1881: ldap_schema_element_to_string");
}

TEST_F(SchemaAssertion, Copy) {
    expectAssertion([&] { dup_element(element_, &found_); }, "1991: dup_element");
}

TEST_F(SchemaAssertion, Change) {
    expectAssertion([&] { modify_element(element_, "DESC", nullptr, LDAP_MOD_ADD); },
                    "2287: modify_element");
}

TEST_F(SchemaAssertion, Release) {
    expectAssertion([&] { ldap_schema_free(schema_.get()); }, "369: free_element");
}

TEST_F(SchemaAssertion, Lookup) {
    expectAssertion([&] { ldap_schema_get_by_name(schema_.get(), "1.2", 0, &found_); },
                    "733: compare_key_to_oid");
}

TEST_F(SchemaAssertion, LookupAmongMany) {
    std::vector<std::string> values;
    for (int i = 0; i < 100; ++i)
        values.push_back("( 1.2." + std::to_string(i) + " )");
    const SchemaPtr schema = fetched(0, values);
    LDAPSchemaElement *one = find(schema, 0, "1.2.50");
    one->kind = 9;
    expectAssertion([&] { ldap_schema_get_by_name(schema.get(), "1.2.50", 0, &found_); },
                    "733: compare_key_to_oid");
    one->kind = 0;
}

TEST_F(SchemaAssertion, Order) {
    Modifications fields;
    fields.strings(LDAP_MOD_ADD, "OID", {"1.3"});
    expectAssertion([&] { ldap_schema_add(schema_.get(), 0, fields.list()); }, "671: compare_oid");
}

// A failure after the key was changed leaves nothing that leads back to the element.
TEST(SchemaAssertions, LostElement) {
    const SchemaPtr schema = fetched(0, {"( 1.1 )", "( 1.2 )", "( 1.3 )"});
    Modifications oid, none;
    oid.strings(LDAP_MOD_REPLACE, "OID", {"9.9"}).strings(LDAP_MOD_ADD, "USAGE", {"x"});
    none.strings(LDAP_MOD_DELETE, "OID", {}).strings(LDAP_MOD_ADD, "USAGE", {"x"});
    for (Modifications *fields : {&oid, &none})
        expectAssertion([&] { ldap_schema_modify(schema.get(), "1.1", 0, fields->list()); },
                        "1679: ldap_schema_modify");
}

// A key that keeps its place among the others leads back.
TEST(SchemaAssertions, FoundElement) {
    const SchemaPtr schema = fetched(0, {"( 1.1 )", "( 1.2 )", "( 1.3 )"});
    int place = 0;
    for (const std::string oid : {"1.1", "1.2", "1.3"}) {
        const std::string longer = oid + "5";
        Modifications change;
        change.strings(LDAP_MOD_REPLACE, "OID", {longer.c_str()})
            .strings(LDAP_MOD_ADD, "USAGE", {"x"});
        EXPECT_EQ(ldap_schema_modify(schema.get(), oid.c_str(), 0, change.list()),
                  LDAP_PARAM_ERROR);
        EXPECT_EQ(described(elementAt(schema, 0, place++)), "( " + oid + " )");
        EXPECT_EQ(ldap_schema_get_count(schema.get(), 0), 3);
    }
}

} // namespace
} // namespace qldapx_test
