// ldapx_memfree: the release of what the library handed out.
#include "extops/request_case.h"

#include <cstdlib>
#include <cstring>

namespace qldapx_test {
namespace {

TEST(Memfree, IgnoresNull) {
    ldapx_memfree(nullptr);
}

// It is the C library's free, so that the C allocator's memory passes in both directions. A leak
// or a foreign release is the sanitizer's to find.
TEST(Memfree, ReleasesMemoryOfTheCAllocator) {
    void *block = std::malloc(64);
    std::memset(block, 0x5a, 64);
    ldapx_memfree(block);
}

TEST(Memfree, ReleasesWhatTheLibraryReturns) {
    ScriptedPeer peer({success(32, octetString("cn=a"))});
    char *identity = nullptr;
    ASSERT_EQ(ldap_get_bind_dn(peer.session(), &identity), LDAP_SUCCESS);
    identity = static_cast<char *>(std::realloc(identity, 4096));
    EXPECT_STREQ(identity, "cn=a");
    ldapx_memfree(identity);
}

} // namespace
} // namespace qldapx_test
