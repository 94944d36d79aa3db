// MD5, compared with OpenSSL's.
#include "crypto/model_md5.h"

#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx/md5.h>
#include <random>
#include <string>
#include <sys/mman.h>

namespace qldapx_test::md5_model {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int randomSplits = 1000;
#else
constexpr int randomSplits = 10000;
#endif

class Random {
  public:
    std::size_t below(std::size_t limit) { return engine_() % limit; }
    std::string bytes(std::size_t size) {
        std::string bytes(size, '\0');
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(engine_()); });
        return bytes;
    }

  private:
    std::mt19937 engine_{1321};
};

const unsigned char *bytesOf(std::string_view data) {
    return reinterpret_cast<const unsigned char *>(data.data());
}

Digest finish(QldapxMD5Context &context) {
    Digest digest;
    MD5Final(digest.data(), &context);
    const auto *bytes = reinterpret_cast<const unsigned char *>(&context);
    EXPECT_TRUE(std::all_of(bytes, bytes + sizeof context, [](unsigned char b) { return b == 0; }));
    return digest;
}

Digest atOnce(std::string_view data) {
    Digest digest;
    EXPECT_EQ(MD5(bytesOf(data), data.size(), digest.data()), digest.data());
    return digest;
}

// Cut anywhere, also into pieces of nothing.
Digest inPieces(Random &random, std::string_view data) {
    QldapxMD5Context context;
    MD5Init(&context);
    const std::size_t most = 1 + random.below(200);
    while (!data.empty()) {
        const std::size_t size = std::min(random.below(most + 1), data.size());
        MD5Update(&context, data.data(), size);
        data.remove_prefix(size);
    }
    MD5Update(&context, data.data(), 0);
    return finish(context);
}

std::string hex(const Digest &digest) {
    std::string text;
    for (unsigned char byte : digest)
        for (unsigned nibble : {byte / 16U, byte % 16U})
            text += "0123456789abcdef"[nibble];
    return text;
}

struct Sample {
    const char *text;
    const char *digest;
};

// RFC 1321, A.5.
const Sample samples[] = {
    {"", "d41d8cd98f00b204e9800998ecf8427e"},
    {"a", "0cc175b9c0f1b6a831c399e269772661"},
    {"abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
     "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
};

TEST(Md5Model, SamplesCutAnywhere) {
    for (const Sample &sample : samples) {
        const std::string_view text = sample.text;
        EXPECT_EQ(hex(atOnce(text)), sample.digest);
        EXPECT_EQ(hex(digestOf(text)), sample.digest);
        for (std::size_t cut = 0; cut <= text.size(); ++cut) {
            QldapxMD5Context context;
            MD5Init(&context);
            MD5Update(&context, text.data(), cut);
            MD5Update(&context, text.data() + cut, text.size() - cut);
            EXPECT_EQ(hex(finish(context)), sample.digest) << cut;
        }
    }
}

TEST(Md5Model, EveryLength) {
    Random random;
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string data = random.bytes(length);
        ASSERT_EQ(atOnce(data), digestOf(data)) << length;
        ASSERT_EQ(inPieces(random, data), digestOf(data)) << length;
    }
}

TEST(Md5Model, RandomLengthsAndPieces) {
    Random random;
    for (int i = 0; i < randomSplits; ++i) {
        const std::string data = random.bytes(random.below(i % 50 == 0 ? 20000 : 700));
        const Digest expected = digestOf(data);
        ASSERT_EQ(atOnce(data), expected) << data.size();
        ASSERT_EQ(inPieces(random, data), expected) << data.size();
    }
}

// At the end of a block of its length, from every place in a word.
TEST(Md5Model, UnalignedData) {
    Random random;
    for (const std::size_t length : {0U, 1U, 55U, 56U, 63U, 64U, 65U, 127U, 128U, 129U, 200U})
        for (std::size_t offset = 0; offset < 16; ++offset) {
            const std::string data = random.bytes(length);
            std::unique_ptr<char[]> block(new char[offset + length]);
            std::copy(data.begin(), data.end(), block.get() + offset);
            ASSERT_EQ(atOnce({block.get() + offset, length}), digestOf(data)) << length;
        }
}

TEST(Md5Model, DigestOnTopOfTheData) {
    std::string data = "abcdefghijklmnopqrstuvwxyz";
    auto *place = reinterpret_cast<unsigned char *>(data.data());
    EXPECT_EQ(MD5(place, data.size(), place), place);
    EXPECT_EQ(data, std::string("\xc3\xfc\xd3\xd7\x61\x92\xe4\x00\x7d\xfb\x49\x6c\xca\x67\xe1\x3b"
                                "qrstuvwxyz",
                                26));
}

// libcrypto, which the model is made with, has a function of that name.
TEST(Md5Model, IsTheLibrarys) {
    Dl_info place = {};
    ASSERT_NE(dladdr(reinterpret_cast<void *>(MD5), &place), 0);
    EXPECT_NE(std::string(place.dli_fname).find("libqldapx"), std::string::npos);
}

TEST(Md5Model, BufferOfTheLibrary) {
    const std::string data = "abc";
    unsigned char *first = MD5(bytesOf(data), data.size(), nullptr);
    ASSERT_NE(first, nullptr);
    Digest digest;
    std::copy_n(first, digest.size(), digest.begin());
    EXPECT_EQ(digest, digestOf(data));
    EXPECT_EQ(MD5(bytesOf(data), 0, nullptr), first);
    std::copy_n(first, digest.size(), digest.begin());
    EXPECT_EQ(digest, digestOf(""));
}

struct Count {
    std::uint64_t bits;
    std::size_t length;
};

// Where the low word of the count overflows, and where the high one does.
const Count counts[] = {
    {0xFFFFFE00, 0},          {0xFFFFFE00, 63},        {0xFFFFFE00, 64},   {0xFFFFFE00, 65},
    {0xFFFFF000, 511},        {0xFFFFF000, 513},       {0x1FFFFFE00, 64},  {0x7FFFFFFFFFFFE00, 64},
    {0xFFFFFFFFFFFFFE00, 64}, {0xFFFFFFFF00000000, 3}, {0x100000000, 200},
};

QldapxMD5Context begunAfter(std::uint64_t bits) {
    QldapxMD5Context context;
    MD5Init(&context);
    context.bitCount[0] = bits & 0xFFFFFFFF;
    context.bitCount[1] = bits >> 32;
    return context;
}

std::uint64_t bitsOf(const QldapxMD5Context &context) {
    return (context.bitCount[1] & 0xFFFFFFFF) << 32 | (context.bitCount[0] & 0xFFFFFFFF);
}

TEST(Md5Model, CountsAcross32Bits) {
    Random random;
    for (const Count &count : counts) {
        const std::string data = random.bytes(count.length);
        QldapxMD5Context context = begunAfter(count.bits);
        for (char byte : data)
            MD5Update(&context, &byte, 1);
        EXPECT_EQ(bitsOf(context), count.bits + 8 * count.length) << std::hex << count.bits;
        EXPECT_EQ(finish(context), digestAfter(count.bits, data)) << std::hex << count.bits;
        context = begunAfter(count.bits);
        MD5Update(&context, data.data(), data.size());
        EXPECT_EQ(finish(context), digestAfter(count.bits, data)) << std::hex << count.bits;
    }
}

// Words that are wider than they need be count their low halves only.
TEST(Md5Model, HighHalvesOfTheWords) {
    QldapxMD5Context context;
    MD5Init(&context);
    for (std::uint64_t &word : context.chain)
        word |= 0xABCD00000000;
    for (std::uint64_t &word : context.bitCount)
        word |= 0xABCD00000000;
    MD5Update(&context, "abc", 3);
    EXPECT_EQ(finish(context), digestOf("abc"));
}

#ifndef __SANITIZE_ADDRESS__
// The digests are md5sum's, of as many zeros.
TEST(Md5Model, MoreThan32BitsAtOnce) {
    constexpr std::size_t size = (1U << 29) + 1;
    void *zeros =
        mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    QldapxMD5Context context;
    MD5Init(&context);
    MD5Update(&context, zeros, size - 1);
    QldapxMD5Context longer = context;
    EXPECT_EQ(bitsOf(context), 1ULL << 32);
    EXPECT_EQ(hex(finish(context)), "aa559b4e3523a6c931f08f4df52d58f2");
    MD5Update(&longer, zeros, 1);
    EXPECT_EQ(hex(finish(longer)), "ea3b62c6b93cb3625a1fd76777985f5a");
    EXPECT_EQ(hex(atOnce({static_cast<const char *>(zeros), size})),
              "ea3b62c6b93cb3625a1fd76777985f5a");
    munmap(zeros, size);
}
#endif

} // namespace
} // namespace qldapx_test::md5_model
