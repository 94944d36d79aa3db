// PKCS #12 with RC2, which OpenSSL has in a provider that need not be installed.
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"

#include <cstdlib>
#include <openssl/provider.h>
#include <sys/wait.h>

namespace qldapx_test::tls {
namespace {

constexpr char modules[] = "OPENSSL_MODULES";

int setCertificate(const Bytes &bytes) {
    return withSource(
        bytes, 6, [](const void *source) { return ldapssl_set_client_cert(source, 6, "secret"); });
}

// The test below, in a process that finds no providers but the built-in ones.
[[noreturn]] void repeatWithoutProviders(const std::string &folder) {
    setenv(modules, folder.c_str(), 1);
    execl("/proc/self/exe", "unit_tls_sources_test", "--gtest_filter=LegacyProvider.NotInstalled",
          nullptr);
    _exit(127);
}

TEST(LegacyProvider, NotInstalled) {
    if (getenv(modules) != nullptr) {
        const Context context;
        EXPECT_EQ(setCertificate(legacyPkcs12()), 1);
        EXPECT_EQ(setCertificate(modernPkcs12()), 0);
        return;
    }
    const Folder empty;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        repeatWithoutProviders(empty.path(""));
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// The program's own use of OpenSSL does not get what it has not asked for.
TEST(LegacyProvider, IsTheLibrarysOwn) {
    const Context context;
    EXPECT_EQ(setCertificate(legacyPkcs12()), 0);
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0);
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "default"), 1);
    EVP_CIPHER *rc2 = EVP_CIPHER_fetch(nullptr, "RC2-40-CBC", nullptr);
    EXPECT_EQ(rc2, nullptr);
    EVP_CIPHER_free(rc2);
}

} // namespace
} // namespace qldapx_test::tls
