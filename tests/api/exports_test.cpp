// The exports that have namesakes elsewhere, and the exported data, through the dynamic linker.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>
#include <string>

namespace {

struct Unload {
    void operator()(void *library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Unload>;

Library open() {
    return Library(dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL));
}

template <class Function>
Function *function(const Library &library, const std::string &name) {
    return reinterpret_cast<Function *>(dlsym(library.get(), name.c_str()));
}

// The library file that holds an address.
std::string fileOf(const void *address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 ? info.dli_fname : "";
}

struct Description {
    const char *kind;
    const char *text;
    const char *printed; // libldap's spelling of it
};

// What a failing test is named after.
void PrintTo(const Description &description, std::ostream *out) {
    *out << description.kind;
}

class SchemaForwarding : public testing::TestWithParam<Description> {};

// Parsed, printed and released with the functions that this library exports: were one to call
// itself, this would never end.
TEST_P(SchemaForwarding, ParsesPrintsAndReleases) {
    const Description &description = GetParam();
    std::string kind = description.kind;
    Library library = open();
    ASSERT_NE(library, nullptr) << dlerror();
    auto *parse =
        function<void *(const char *, int *, const char **, unsigned)>(library, "ldap_str2" + kind);
    auto *print = function<char *(void *)>(library, "ldap_" + kind + "2str");
    auto *release = function<void(void *)>(library, "ldap_" + kind + "_free");
    for (void *address : {reinterpret_cast<void *>(parse), reinterpret_cast<void *>(print),
                          reinterpret_cast<void *>(release)})
        ASSERT_NE(fileOf(address).find("libqldapx"), std::string::npos) << kind;

    int code = -1;
    const char *errorAt = nullptr;
    void *record = parse(description.text, &code, &errorAt, LDAP_SCHEMA_ALLOW_NONE);
    ASSERT_NE(record, nullptr) << ldap_scherr2str(code) << " at " << errorAt;
    char *printed = print(record);
    EXPECT_STREQ(printed, description.printed);
    ldap_memfree(printed);
    release(record);
    EXPECT_EQ(parse("( not a description", &code, &errorAt, LDAP_SCHEMA_ALLOW_NONE), nullptr);
    EXPECT_NE(code, 0);
}

const Description descriptions[] = {
    {"attributetype", "( 1.2.3 NAME 'colour' SYNTAX 1.2.4 )",
     "( 1.2.3 NAME 'colour' SYNTAX 1.2.4 )"},
    {"objectclass", "( 1.2.5 NAME 'thing' AUXILIARY MAY colour )",
     "( 1.2.5 NAME 'thing' AUXILIARY MAY colour )"},
    {"syntax", "( 1.2.4 DESC 'text' )", "( 1.2.4 DESC 'text' )"},
    {"matchingrule", "( 1.2.6 NAME 'same' SYNTAX 1.2.4 )", "( 1.2.6 NAME 'same' SYNTAX 1.2.4 )"},
    {"matchingruleuse", "( 1.2.6 NAME 'same' APPLIES colour )",
     "( 1.2.6 NAME 'same' APPLIES colour )"},
    {"nameform", "( 1.2.7 NAME 'form' OC thing MUST colour )",
     "( 1.2.7 NAME 'form' OC thing MUST colour )"},
};

INSTANTIATE_TEST_SUITE_P(Kinds, SchemaForwarding, testing::ValuesIn(descriptions),
                         [](const auto &kind) { return std::string(kind.param.kind); });

TEST(Exports, DataStartsAsDocumented) {
    EXPECT_EQ(g_SSLReg, 0);
    EXPECT_EQ(g_CryptCtx, nullptr);
    EXPECT_EQ(g_pCertCallback, nullptr);
    EXPECT_EQ(randbuf, nullptr);
    EXPECT_EQ(g_pCertAlertCB, nullptr);
    EXPECT_EQ(g_pSockets, nullptr);
    EXPECT_EQ(g_MaxSockets, 0);
    EXPECT_EQ(sizeof g_Locks / sizeof g_Locks[0], 41U);
    ASSERT_EQ(pthread_mutex_trylock(&g_Sync), 0);
    EXPECT_EQ(pthread_mutex_unlock(&g_Sync), 0);
}

TEST(Exports, AliasesAreTheSameFunction) {
    const std::pair<const char *, const char *> aliases[] = {
        {"ldap_create_naming_context", "ldap_split_partition"},
        {"ldap_merge_naming_contexts", "ldap_merge_partitions"},
        {"ldap_abort_naming_context_operation", "ldap_abort_partition_operation"},
        {"ldap_naming_context_entry_count", "ldap_partition_entry_count"},
        {"ldap_create_orphan_naming_context", "ldap_split_orphan_partition"},
        {"ldap_remove_orphan_naming_context", "ldap_remove_orphan_partition"},
        {"ldap_request_naming_context_sync", "ldap_request_partition_sync"},
        {"ldap_get_context_identity_name", "ldap_get_bind_dn"},
        {"ldap_create_persistentsearch_control", "ldapx_create_persistentsearch_control"},
        {"ldap_parse_entrychange_control", "ldapx_parse_entrychange_control"},
    };
    Library library = open();
    for (auto [alias, name] : aliases) {
        ASSERT_NE(dlsym(library.get(), alias), nullptr) << alias;
        EXPECT_EQ(dlsym(library.get(), alias), dlsym(library.get(), name)) << alias;
        // A handle finds the names of what the library needs, too.
        EXPECT_NE(fileOf(dlsym(library.get(), alias)).find("libqldapx"), std::string::npos);
    }
}

} // namespace
