// What the process has one of: the random pool and its lock, the locks of OpenSSL's callback; and
// digests, which have nothing in common.
#include "rows.h"

#include <array>
#include <cstring>
#include <qldapx.h>
#include <qldapx/md5.h>

namespace qldapx_test {
namespace {

// Guarded by the locks that are tried, and by nothing else.
long poolCount = 0;
std::array<long, QLDAPX_LOCK_COUNT> counts{};

void draw(unsigned round) {
    std::array<unsigned char, 200> bytes{};
    const int count = static_cast<int>(round % bytes.size());
    const int result =
        round % 2 == 0 ? XRAND_bytes(bytes.data(), count) : XRAND_pseudo_bytes(bytes.data(), count);
    require(result == 0 || result == 100, "bytes are drawn");
}

void stir(unsigned round) {
    static const std::array<char, 64> bytes{};
    if (round % 3 == 0)
        XRAND_seed(bytes.data(), static_cast<int>(bytes.size()));
    else if (round % 3 == 1)
        XRAND_add(bytes.data(), static_cast<int>(round % bytes.size()), 1.0);
    else
        require(XRAND_poll() == 1 && (XRAND_status() | 1) == 1, "a poll");
}

void cleanUp(unsigned /*round*/) {
    XRAND_cleanup();
}

void guardByPool(unsigned /*round*/) {
    require(CRYPTO_w_lock() == 0, "the pool's lock is taken");
    ++poolCount;
    require(CRYPTO_w_unlock() == 0, "and given back");
}

void guardByCallback(unsigned round) {
    const unsigned number = round % QLDAPX_LOCK_COUNT;
    require(LockCallback(1, static_cast<int>(number)) == 0, "a lock is taken");
    ++counts[number];
    require(LockCallback(0, static_cast<int>(number)) == 0, "and given back");
}

void digest(unsigned /*round*/) {
    static const unsigned char expected[] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                             0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    const auto *abc = reinterpret_cast<const unsigned char *>("abc");
    std::array<unsigned char, 16> whole{}, inPieces{};
    MD5(abc, 3, whole.data());
    QldapxMD5Context context;
    MD5Init(&context);
    MD5Update(&context, abc, 1);
    MD5Update(&context, abc + 1, 2);
    MD5Final(inPieces.data(), &context);
    require(std::memcmp(whole.data(), expected, sizeof expected) == 0 && whole == inPieces,
            "digests of abc");
}

void initLocks(unsigned /*rounds*/) {
    CRYPTO_thread_setup();
    LockInit();
}

const Row rows[] = {
    {"random-pool", 800, {draw, draw, stir, guardByPool, guardByPool}},
    {"random-pool-begun-anew", 400, {draw, draw, stir, cleanUp, guardByPool}},
    {"locks-of-the-callback",
     4000,
     {guardByCallback, guardByCallback, guardByCallback},
     initLocks,
     LockCleanUp},
    {"digests", 1500, {digest, digest, digest, digest}},
};

} // namespace

std::span<const Row> processRows() {
    return rows;
}

} // namespace qldapx_test
