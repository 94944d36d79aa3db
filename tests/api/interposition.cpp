// An application that defines functions under names that the library calls inside itself: the
// library must keep calling its own. (The executable exports its symbols, as one with plug-ins
// does, so the dynamic linker would prefer them.)
#include <gtest/gtest.h>
#include <qldapx.h>

namespace {
int captured = 0;
} // namespace

extern "C" {

#define CAPTURE(name)                                                                              \
    __attribute__((visibility("default"), used)) int name() {                                      \
        ++captured;                                                                                \
        return 4711;                                                                               \
    }

CAPTURE(add_change)
CAPTURE(verify_callback)
CAPTURE(add_cert)
CAPTURE(new_value)
CAPTURE(MD5)
}

// The triggers are declared by the header, so the captures have their types.
#define CAPTURE_TRIGGER(name, ...)                                                                 \
    extern "C" __attribute__((visibility("default"), used)) int name(__VA_ARGS__) {                \
        ++captured;                                                                                \
        return 4711;                                                                               \
    }

CAPTURE_TRIGGER(wrapper_ldap_trigger_backlink, LDAP *)
CAPTURE_TRIGGER(wrapper_ldap_trigger_janitor, LDAP *)
CAPTURE_TRIGGER(wrapper_ldap_trigger_limber, LDAP *, char *)
CAPTURE_TRIGGER(wrapper_ldap_trigger_skulker, LDAP *)
CAPTURE_TRIGGER(wrapper_ldap_trigger_schema_sync, LDAP *)
CAPTURE_TRIGGER(wrapper_ldap_trigger_partition_purge, LDAP *)
CAPTURE_TRIGGER(ldap_url_search, LDAP *, const char *, int)
CAPTURE_TRIGGER(ldap_url_search_st, LDAP *, const char *, int, timeval *, LDAPMessage **)

namespace {

TEST(Interposition, TheLibraryCallsItsOwnFunctions) {
    LDAP *ld = nullptr;
    ASSERT_EQ(ldap_initialize(&ld, "ldap://127.0.0.1:1"), LDAP_SUCCESS);
    int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    char dn[] = "dc=example";
    for (int process = 1; process <= 6; ++process)
        EXPECT_EQ(ldap_trigger_back_process(ld, process, dn), LDAP_SERVER_DOWN) << process;
    LDAPMessage *chain = nullptr;
    EXPECT_EQ(ldap_url_search_s(ld, "ldap:///dc=example", 0, &chain), LDAP_SERVER_DOWN);
    EXPECT_EQ(captured, 0);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

} // namespace
