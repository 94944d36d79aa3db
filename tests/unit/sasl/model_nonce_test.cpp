// The client nonce of a bind, in processes whose chance is known: what it hangs on.
#include "crypto/model_child.h"
#include "crypto/model_pool.h"
#include "sasl/proof.h"
#include "sasl/response.h"
#include "support/scripted_peer.h"

#include <array>
#include <qldapx.h>
#include <set>

namespace qldapx_test::pool_model {
namespace {

std::string nonceOfABind() {
    const Bytes challenge = "realm=r,nonce=n,qop=auth,algorithm=md5-sess";
    ScriptedPeer peer({ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challenge)),
                       ScriptedPeer::answer(bindResponse(0, Bytes("rspauth=none")))});
    void *context = nullptr;
    EXPECT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_SUCCESS);
    EXPECT_EQ(ldap_bind_digest_md5_finish(&context, "joe", "secret", -1, 0, 1),
              LDAP_INVALID_CREDENTIALS);
    return directiveIn(peer.received().at(1), "cnonce");
}

// Of the first bind of a process.
std::string nonceWith(int pid, unsigned char byte) {
    constexpr std::size_t size = 64;
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    inChild([&] {
        Entropy::restartClock();
        chance() = {pid, byte};
        const std::string nonce = nonceOfABind();
        EXPECT_EQ(nonce.size(), size);
        EXPECT_EQ(nonce.find_first_not_of("0123456789ABCDEF"), nonce.npos) << nonce;
        EXPECT_EQ(write(ends[1], nonce.data(), nonce.size()), static_cast<ssize_t>(nonce.size()));
    });
    close(ends[1]);
    std::string nonce(size, '\0');
    EXPECT_EQ(read(ends[0], nonce.data(), size), static_cast<ssize_t>(size));
    close(ends[0]);
    return nonce;
}

TEST(BindNonce, HangsOnChanceAndOnTheProcess) {
    const std::string nonce = nonceWith(1000, 'a');
    EXPECT_EQ(nonceWith(1000, 'a'), nonce);
    EXPECT_NE(nonceWith(1000, 'b'), nonce);
    EXPECT_NE(nonceWith(1001, 'a'), nonce);
}

// The first bytes of the pool, over zeros.
TEST(BindNonce, IsInHexadecimalWithLowHalvesFirst) {
    inChild([] {
        Entropy::restartClock();
        Pool model;
        std::string bytes(32, '\0'), expected;
        EXPECT_EQ(model.bytes(bytes), 0);
        for (const char byte : bytes)
            for (const int shift : {0, 4})
                expected += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> shift & 15];
        char nonce[65];
        EXPECT_EQ(qldapx::getNonce(nonce), 0);
        EXPECT_EQ(nonce, expected);
    });
}

// A child has its parent's pool: the process id tells them apart where chance does not.
TEST(BindNonce, DiffersInChildrenOfOneProcess) {
    inChild([] {
        nonceOfABind();
        std::set<std::string> nonces;
        for (const int pid : {2000, 2001, 2002})
            nonces.insert(nonceWith(pid, 'a'));
        EXPECT_EQ(nonces.size(), 3U);
    });
}

TEST(BindNonce, AsksForTwelveBytesOfChance) {
    inChild([] {
        chance().asked = 0;
        nonceOfABind();
        EXPECT_EQ(chance().asked, 12U);
    });
}

// Only a bind asks.
TEST(BindNonce, ThePoolAsksForNone) {
    inChild([] {
        chance().asked = 0;
        unsigned char bytes[32] = {};
        XRAND_poll();
        XRAND_seed("seed", 4);
        EXPECT_EQ(XRAND_bytes(bytes, sizeof bytes), 0);
        EXPECT_EQ(chance().asked, 0U);
    });
}

// What is mixed in is credited with nothing: a pool that holds too little refuses the nonce.
TEST(BindNonce, IsRefusedWithTooLittleEntropy) {
    inChild([] {
        XRAND_status();
        XRAND_cleanup();
        XRAND_add("", 0, -5);
        XRAND_status();
        const Bytes challenge = "realm=r,nonce=n,qop=auth,algorithm=md5-sess";
        ScriptedPeer peer(
            {ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challenge))});
        void *context = nullptr;
        EXPECT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_SUCCESS);
        EXPECT_EQ(ldap_bind_digest_md5_finish(&context, "joe", "secret", -1, 0, 1), 100);
        EXPECT_EQ(context, nullptr);
    });
}

} // namespace
} // namespace qldapx_test::pool_model
