// The same tests run with two builds of libldap: this is the one that they are meant to run with.
#include "tls_client.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

TEST(TlsFlavour, IsThatOfTheRun) {
    const char *libraries = std::getenv("LD_LIBRARY_PATH");
    bool isOwnBuild = libraries != nullptr && std::strstr(libraries, "libldap_openssl") != nullptr;
    EXPECT_EQ(test::libldapHasOpenSsl(), isOwnBuild);
}
