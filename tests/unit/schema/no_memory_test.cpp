// Schema access with memory that runs out at each of its allocations, and what stays allocated.
#include "no_memory.h"
#include "schema/samples.h"
#include "support/modifications.h"

#include <qldapx/schema_element.h>

namespace qldapx_test {
namespace {

// Short, because libldap's printers do not survive that a longer text finds no memory.
const std::vector<std::string> types = {"( 1.1 NAME 'a' )", "( 1.2 )", "( 1.3 NAME 'c' )"};

// Blocks that a schema consists of: those that its release gives back.
long blocksOf(SchemaPtr schema) {
    const long before = failing_memory::liveBlocks();
    schema.reset();
    return before - failing_memory::liveBlocks();
}

// Lets each allocation of a call fail in turn, on a schema fetched anew each time. What a failed
// call leaves allocated goes with the schema, but for a block at the `losing` allocation.
template <class Call>
void exhaustEdit(unsigned kind, const std::vector<std::string> &values, Call call,
                 long losing = 0) {
    const long blocks = blocksOf(fetched(kind, values));
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        ASSERT_LT(number, 200);
        SchemaPtr schema = fetched(kind, values);
        const std::vector<std::string> was = listed(schema, kind);
        const long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        const int result = call(schema.get());
        failed = failing_memory::disarm();
        const long left = failing_memory::liveBlocks() - before;
        EXPECT_EQ(result == LDAP_SUCCESS, !failed) << result;
        EXPECT_TRUE(!failed || result == LDAP_NO_MEMORY || result == LDAP_LOCAL_ERROR);
        EXPECT_TRUE(!failed || listed(schema, kind) == was);
        for (const char *key : {"a", "1.1", "1.2", "c"})
            find(schema, kind, key);
        EXPECT_EQ(blocksOf(std::move(schema)), blocks + left - (number == losing ? 1 : 0));
    }
}

TEST(SchemaAdd, NoMemory) {
    Modifications fields;
    fields.strings(0, "OID", {"1.15"}).strings(0, "NAME", {"n", "o"}).strings(0, "X-A", {"x"});
    LDAPMod **list = fields.list();
    exhaustEdit(0, types, [&](LDAPSchema *schema) { return ldap_schema_add(schema, 0, list); });
}

TEST(SchemaModify, NoMemory) {
    Modifications fields;
    fields.strings(LDAP_MOD_REPLACE, "DESC", {"d"}).strings(0, "X-A", {"x"});
    LDAPMod **list = fields.list();
    // libldap's parser loses a name for which it finds no list.
    constexpr long listOfNames = 9;
    exhaustEdit(
        0, types, [&](LDAPSchema *schema) { return ldap_schema_modify(schema, "a", 0, list); },
        listOfNames);
}

TEST(SchemaDelete, NoMemory) {
    exhaustEdit(0, types, [](LDAPSchema *schema) { return ldap_schema_delete(schema, 0, "a"); });
}

// Some of what libldap's search allocates it can do without.
TEST(SchemaDn, NoMemory) {
    ScriptedPeer({}).session(); // libldap keeps what it allocates for the first one
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(number);
        ScriptedPeer peer({subentryAnswer({{"subschemaSubentry", {"cn=sub"}}})});
        const long before = failing_memory::liveBlocks();
        LDAP *ld = peer.session();
        char *dn = nullptr;
        failing_memory::failAllocation(number);
        const int result = get_schema_dn(ld, &dn);
        failed = failing_memory::disarm();
        EXPECT_TRUE(result == LDAP_SUCCESS || (failed && result < 0)) << result;
        EXPECT_EQ(dn != nullptr, result == LDAP_SUCCESS);
        std::free(dn);
        peer.closeSession();
        EXPECT_EQ(failing_memory::liveBlocks(), before);
    }
}

// The names of fields that were copied before memory ran out are lost.
TEST(SchemaFieldNames, NoMemory) {
    const SchemaPtr schema = fetched(0, {"( 1.2 NAME 'a' X-A 'x' X-B 'y' )"});
    LDAPSchemaElement *element = elementAt(schema, 0, 0);
    // OID, NAME, usage; the array; two extensions
    for (long number = 1; number <= 6; ++number) {
        SCOPED_TRACE(number);
        char *unset = nullptr;
        char **names = &unset;
        const long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        EXPECT_EQ(ldap_schema_get_field_names(element, &names), LDAP_NO_MEMORY);
        EXPECT_TRUE(failing_memory::disarm());
        EXPECT_EQ(names, &unset);
        EXPECT_EQ(failing_memory::liveBlocks() - before, number <= 3   ? 2
                                                         : number == 4 ? 3
                                                                       : number - 2);
    }
}

TEST(SchemaFieldValues, NoMemory) {
    const SchemaPtr schema = fetched(0, {"( 1.2 NAME ( 'a' 'b' ) SYNTAX 1.3{64} SINGLE-VALUE )"});
    LDAPSchemaElement *element = elementAt(schema, 0, 0);
    const struct {
        const char *keyword;
        long allocations;
        int result;
    } rows[] = {
        {"OID", 2, LDAP_NO_MEMORY},
        {"SYNTAX", 3, LDAP_NO_MEMORY},
        {"SINGLE-VALUE", 2, LDAP_NO_MEMORY},
        {"NAME", 3, LDAP_SUCCESS}, // without an array
    };
    for (const auto &row : rows)
        for (long number = 1; number <= row.allocations; ++number) {
            SCOPED_TRACE(testing::Message() << row.keyword << " " << number);
            char *unset = nullptr;
            char **values = &unset;
            const long before = failing_memory::liveBlocks();
            failing_memory::failAllocation(number);
            EXPECT_EQ(ldap_schema_get_field_values(element, row.keyword, &values), row.result);
            EXPECT_TRUE(failing_memory::disarm());
            EXPECT_EQ(values, nullptr);
            EXPECT_EQ(failing_memory::liveBlocks(), before);
        }
}

TEST(StructureRule, NoMemory) {
    const char text[] =
        "( '3' NAME ( 'a' 'b' 'c' ) DESC 'd' FORM ( f $ g ) SUP ( 1 2 ) X-A 'x' X-B 'y' X-C 'z' )";
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(number);
        const long before = failing_memory::liveBlocks();
        int code = 0;
        const char *errorAt = nullptr;
        failing_memory::failAllocation(number);
        LDAPDITStructureRule *rule = ldap_str2ditstructurerule(text, &code, &errorAt, 15);
        failed = failing_memory::disarm();
        EXPECT_EQ(rule == nullptr, failed);
        EXPECT_EQ(code, failed ? LDAP_SCHERR_OUTOFMEM : 0);
        if (!failed) {
            EXPECT_GT(number, 25);
            failing_memory::failAllocation(1);
            EXPECT_EQ(ldap_ditstructurerule2str(rule), nullptr);
            EXPECT_TRUE(failing_memory::disarm());
        }
        ldap_ditstructurerule_free(rule);
        EXPECT_EQ(failing_memory::liveBlocks(), before);
    }
}

// A fetch that fails leaves what it had behind a pointer that nobody can release, unless the search
// had failed. An attribute type for which there is no memory is left out. All others are found, by
// whatever way they have come into order.
TEST(SchemaFetch, NoMemory) {
    ScriptedPeer({}).session(); // libldap keeps what it allocates for the first one
    bool failed = true;
    int whole = 0, partly = 0, lostNames = 0;
    const std::vector<std::string> disordered = {types[2], types[0], types[1]};
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(number);
        ASSERT_LT(number, 500);
        ScriptedPeer peer(
            {subentryAnswer({{"attributeTypes", disordered}, {"ldapSyntaxes", {"( 1.4 )"}}})});
        LDAPSchema *schema = nullptr;
        LDAP *ld = peer.session();
        failing_memory::failAllocation(number);
        const int result = ldap_schema_fetch(ld, &schema, "cn=schema");
        failed = failing_memory::disarm();
        if (result != LDAP_SUCCESS) {
            EXPECT_LT(result, 0);
            continue;
        }
        const int count = ldap_schema_get_count(schema, 0);
        EXPECT_TRUE(count == 3 || (failed && count < 3));
        ++(count == 3 ? whole : partly);
        const SchemaPtr owner(schema);
        const std::vector<std::string> all = listed(owner, 0);
        EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
        for (const char *oid : {"1.1", "1.2", "1.3"})
            EXPECT_TRUE(find(owner, 0, oid) != nullptr || count < 3) << oid;
        for (const char *name : {"a", "c"})
            lostNames += count == 3 && find(owner, 0, name) == nullptr ? 1 : 0;
    }
    EXPECT_GT(whole, 5) << "rankings and fences are not needed";
    EXPECT_GT(partly, 5);
    EXPECT_EQ(lostNames, 2) << "one without memory for its own copy, each";
}

} // namespace
} // namespace qldapx_test
