// The same tests run with two builds of libldap: this is the one that they are meant to run with.
#include "tls_client.h"

#include <cstdlib>
#include <gtest/gtest.h>

TEST(TlsFlavour, IsThatOfTheRun) {
    const char *expected = std::getenv("LIBLDAP_TLS");
    ASSERT_NE(expected, nullptr);
    EXPECT_EQ(test::libldapHasOpenSsl(), std::string(expected) == "OpenSSL");
}
