// The assertions that end the process: what stands on standard error, word by word.
#include "events/decode.h"

#include <csignal>

namespace qldapx_test {
namespace {

#define EXPECT_ASSERTION(call, message) EXPECT_EXIT(call, testing::KilledBySignal(SIGABRT), message)

TEST(RequiredAssertion, OctetString) {
    BerPtr ber = decoderOf(integer(1));
    char *text = nullptr;
    ber_len_t length = 0;
    EXPECT_ASSERTION(static_cast<void>(parseOctetString(ber.get(), &text, &length, 0)),
                     "events\\.c:639: parseOctetString: Assertion `expectedTag == tag' failed\\.");
}

TEST(RequiredAssertion, LdapString) {
    BerPtr ber = decoderOf(integer(1));
    char *text = nullptr;
    EXPECT_ASSERTION(static_cast<void>(parseLDAPString(ber.get(), &text, 0x85)),
                     "events\\.c:776: parseLDAPString: Assertion `expectedTag == tag' failed\\.");
}

TEST(RequiredAssertion, ServerAddress) {
    const Bytes contents = integer(1) + integer(2) + integer(3) + integer(4);
    EXPECT_ASSERTION(decode(108, contents),
                     "events\\.c:1181: parseChangeServerAddressData: Assertion "
                     "`\\(\\(ber_tag_t\\) 0x04UL\\) == tag' failed\\.");
}

TEST(RequiredAssertion, ReferralValue) {
    const Bytes list = sequence({integer(1), sequence({sequence({integer(5), integer(6)})})});
    const Bytes contents = octetString("a") + integer(1) + octetString("b") + list;
    EXPECT_ASSERTION(decode(102, contents), "events\\.c:639: parseOctetString: ");
}

TEST(RequiredAssertion, StringOfAPayload) {
    EXPECT_ASSERTION(decode(125, integer(1) + integer(2)), "events\\.c:776: parseLDAPString: ");
}

} // namespace
} // namespace qldapx_test
