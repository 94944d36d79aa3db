// Binds with DIGEST-MD5, and the random pool that their nonces come from.
#include "answers.h"
#include "support/expected_leak.h"
#include "system/simulator.h"

#include <algorithm>

namespace api_test {
namespace {

namespace digest = qldapx::digest;
namespace random_pool = qldapx::random_pool;

class CxxDigest : public testing::Test {
  protected:
    const test::Simulator simulator;
    const qldapx::session session = *qldapx::initialize(simulator.uri());
    const ExpectedLeak realms; // those that are not chosen are lost
};

TEST_F(CxxDigest, Binds) {
    auto exchange = digest::start(session);
    ASSERT_TRUE(exchange) << describe(exchange.error());
    EXPECT_NE(exchange->get(), nullptr);
    EXPECT_EQ(describe(exchange->realms()), "strata,");
    EXPECT_EQ(describe(exchange->finish("ada.brandt", "changeme")), "done");
    EXPECT_EQ(exchange->get(), nullptr);
    EXPECT_EQ(describe(exchange->realms()), "-9||");
    EXPECT_EQ(describe(exchange->abandon()), "-9||");
    EXPECT_EQ(describe(qldapx::identity::bind_dn(session)).substr(0, 13), "cn=Ada Brandt");
}

TEST_F(CxxDigest, IsRefusedForAWrongPassword) {
    auto exchange = digest::start(session);
    ASSERT_TRUE(exchange);
    const auto bound = exchange->finish("ada.brandt", "wrong");
    ASSERT_FALSE(bound);
    EXPECT_EQ(bound.error().code(), LDAP_INVALID_CREDENTIALS);
    EXPECT_FALSE(bound.error().message().empty());
}

TEST_F(CxxDigest, NeedsARealmOfTheList) {
    auto exchange = digest::start(session);
    ASSERT_TRUE(exchange);
    EXPECT_EQ(describe(exchange->finish("ada.brandt", "changeme", 7)), "-9||");
}

TEST_F(CxxDigest, IsAbandoned) {
    auto exchange = digest::start(session);
    ASSERT_TRUE(exchange);
    EXPECT_EQ(describe(exchange->abandon()), "done");
    EXPECT_EQ(exchange->get(), nullptr);
}

TEST_F(CxxDigest, CanBeMoved) {
    const qldapx::session other = *qldapx::initialize(simulator.uri());
    auto first = digest::start(session), second = digest::start(other);
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    digest::exchange moved = std::move(*first);
    EXPECT_EQ(first->get(), nullptr);
    void *const raw = second->get();
    moved = std::move(*second); // abandons what it was
    EXPECT_EQ(moved.get(), raw);
    EXPECT_EQ(second->get(), nullptr);
    EXPECT_EQ(describe(moved.finish("ada.brandt", "changeme")), "done");
}

TEST_F(CxxDigest, CanBeReleased) {
    auto exchange = digest::start(session);
    ASSERT_TRUE(exchange);
    digest::exchange again(qldapx::adopt, session, exchange->release());
    EXPECT_EQ(exchange->get(), nullptr);
    EXPECT_EQ(describe(again.finish("ada.brandt", "changeme")), "done");
}

TEST(CxxDigestStart, IsRefused) {
    ScriptedPeer peer({ScriptedPeer::answer(spoken(0x61, LDAP_AUTH_METHOD_NOT_SUPPORTED))});
    EXPECT_EQ(describe(digest::start(borrowed(peer)).error()), "7|said|o=m");
}

TEST(CxxRandomPool, FillsMemory) {
    random_pool::clean_up();
    random_pool::seed("twenty bytes of chance, or more");
    random_pool::add("more of it", 3);
    EXPECT_TRUE(random_pool::is_ready());
    unsigned char first[16] = {}, second[16] = {};
    EXPECT_EQ(describe(random_pool::fill(first, 16)), "done");
    EXPECT_EQ(describe(random_pool::fill(second, 16)), "done");
    EXPECT_FALSE(std::equal(first, first + 16, second));
    random_pool::poll();
    EXPECT_TRUE(random_pool::is_ready());
}

} // namespace
} // namespace api_test
