// What no longer fits liblber's first buffer, or the smallest description, with memory that runs
// out at each of its allocations.
#include "no_memory.h"

#include "schema/samples.h"

#include <qldapx/schema_element.h>

namespace qldapx_test {
namespace {

// Longer than the buffer that an encoder begins with.
const std::string longText(5000, 'x');

TEST(LargeRequest, EffectiveRights) {
    GetEffectiveItem first = {longText.c_str(), nullptr}, second = {nullptr, longText.c_str()};
    GetEffectiveItem *items[] = {&first, &second, nullptr};
    LDAPControl *control = nullptr;
    exhaust(
        {},
        [&](LDAP *ld) {
            control = nullptr;
            return ldap_create_geteffective_control(ld, items, 2, 1, &control);
        },
        [&](int result) {
            EXPECT_EQ(result == LDAP_SUCCESS, control != nullptr);
            ldap_control_free(control);
        });
}

TEST(LargeRequest, MonitoredEvents) {
    std::vector<EventSpecification> events(1000, EventSpecification{1, 2});
    exhaust(
        {},
        [&](LDAP *ld) {
            int id = -1;
            return ldap_monitor_events(ld, static_cast<int>(events.size()), events.data(), &id);
        },
        [](int) {});
}

TEST(LargeRequest, ReplicationFilter) {
    const std::string filter = "A$" + longText + "$$" + longText + "$$$";
    exhaust(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.36", std::nullopt))},
        [&](LDAP *ld) {
            std::string text;
            {
                const failing_memory::Pause pause;
                text = filter;
            }
            char server[] = "cn=s";
            const int result = ldap_set_replication_filter(ld, server, text.data());
            const failing_memory::Pause pause;
            text = std::string();
            return result;
        },
        [](int) {});
}

// A word in the place of the id, which is dropped, and OIDs without parentheses.
TEST(LargeRequest, StructureRuleOfWords) {
    const char text[] = "( word NAME 'a' FORM f SUP 1 )";
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(number);
        ASSERT_LT(number, 100);
        const long before = failing_memory::liveBlocks();
        int code = 0;
        const char *errorAt = nullptr;
        failing_memory::failAllocation(number);
        LDAPDITStructureRule *rule =
            ldap_str2ditstructurerule(text, &code, &errorAt, LDAP_SCHEMA_ALLOW_ALL);
        failed = failing_memory::disarm();
        EXPECT_EQ(rule == nullptr, failed);
        EXPECT_EQ(code, failed ? LDAP_SCHERR_OUTOFMEM : 0);
        ldap_ditstructurerule_free(rule);
        EXPECT_EQ(failing_memory::liveBlocks(), before);
    }
}

// Replaced or not, but never lost.
TEST(FieldValues, ReplacedWithoutMemory) {
    char was[] = "was", a[] = "a", b[] = "b";
    char *before[] = {was, nullptr}, *values[] = {a, b, nullptr};
    for (long number = 1; number <= 3; ++number) {
        SCOPED_TRACE(number);
        char **field = nullptr;
        ASSERT_EQ(new_values(&field, before, LDAP_MOD_REPLACE), LDAP_SUCCESS);
        const long blocks = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        EXPECT_EQ(new_values(&field, values, LDAP_MOD_REPLACE), LDAP_NO_MEMORY);
        EXPECT_TRUE(failing_memory::disarm());
        EXPECT_EQ(failing_memory::liveBlocks(), blocks);
        EXPECT_STREQ(field[0], "was");
        ber_memvfree(reinterpret_cast<void **>(field));
    }
}

// Enough elements for what speeds lookups up, which can be done without: whichever allocation
// fails, all elements are found unless some were not read at all.
TEST(SchemaFetch, ManyElementsWithoutMemory) {
    constexpr int count = 70;
    std::vector<std::string> syntaxes;
    for (int i = 0; i < count; ++i)
        syntaxes.push_back("( 1." + std::to_string(i) + " )");
    ScriptedPeer({}).session(); // libldap keeps what it allocates for the first one
    bool failed = true;
    int whole = 0;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(number);
        ASSERT_LT(number, 5000);
        ScriptedPeer peer({subentryAnswer({{"ldapSyntaxes", syntaxes}})});
        LDAPSchema *schema = nullptr;
        LDAP *ld = peer.session();
        failing_memory::failAllocation(number);
        const int result = ldap_schema_fetch(ld, &schema, "cn=schema");
        failed = failing_memory::disarm();
        if (result != LDAP_SUCCESS)
            continue;
        const SchemaPtr owner(schema);
        if (ldap_schema_get_count(schema, LDAP_SCHEMA_SYNTAX) < count)
            continue;
        ++whole;
        for (const char *key : {"1.0", "1.35", "1.69"})
            EXPECT_NE(find(owner, LDAP_SCHEMA_SYNTAX, key), nullptr) << key;
    }
    EXPECT_GT(whole, 2) << "no allocation can be done without";
}

} // namespace
} // namespace qldapx_test
