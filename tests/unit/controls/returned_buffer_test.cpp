// get_returnedBuffer over values written by hand.
#include "support/ber.h"

#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {
namespace {

struct Element {
    explicit Element(const Bytes &bytes) {
        berval value{bytes.size(), const_cast<char *>(bytes.data())};
        ber_ = ber_init(&value);
    }
    ~Element() { ber_free(ber_, 1); }
    Element(const Element &) = delete;
    Element &operator=(const Element &) = delete;
    operator BerElement *() const { return ber_; }

  private:
    BerElement *ber_;
};

struct MemFree {
    void operator()(char *buffer) const { ber_memfree(buffer); }
};
using Buffer = std::unique_ptr<char, MemFree>;

struct Taken {
    ber_tag_t tag;
    Buffer buffer;
};

Taken take(BerElement *ber) {
    static char untouched[] = "untouched";
    char *buffer = untouched;
    ber_tag_t tag = get_returnedBuffer(ber, &buffer);
    return {tag, Buffer(buffer)};
}

TEST(ReturnedBuffer, TakesOneElementAfterTheOther) {
    Element ber(octetString(Bytes("a\0b", 3)) + integer(7) + tlv(0x86, "") +
                sequence({integer(1)}));
    Taken text = take(ber);
    EXPECT_EQ(text.tag, 0x04U);
    EXPECT_EQ(Bytes(text.buffer.get(), 4), Bytes("a\0b\0", 4));
    int number = 0;
    EXPECT_EQ(ber_get_int(ber, &number), 0x02U);
    EXPECT_EQ(number, 7);
    Taken empty = take(ber);
    EXPECT_EQ(empty.tag, 0x86U);
    EXPECT_STREQ(empty.buffer.get(), "");
    Taken constructed = take(ber);
    EXPECT_EQ(constructed.tag, 0x30U);
    EXPECT_EQ(toHex({constructed.buffer.get(), 4}), "02 01 01 00");
    Taken end = take(ber);
    EXPECT_EQ(end.tag, LBER_ERROR);
    EXPECT_EQ(end.buffer, nullptr);
}

// Contents that begin like a tag of several bytes do not spoil the reading of what follows.
TEST(ReturnedBuffer, LeavesTheNextTagRight) {
    for (const char *contents : {"\x1f", "\x3f", "\x5f", "\x7f", "\x9f", "\xbf", "\xdf", "\xff"}) {
        Element ber(octetString(contents) + sequence({integer(9)}));
        EXPECT_EQ(take(ber).tag, 0x04U);
        int number = 0;
        EXPECT_NE(ber_scanf(ber, "{i}", &number), LBER_ERROR);
        EXPECT_EQ(number, 9) << toHex(contents);
    }
}

TEST(ReturnedBuffer, Malformed) {
    for (const char *bytes : {"04", "04 01", "04 05 61 62", "04 84 ff ff ff ff 61",
                              "04 80 61 00 00", "1f", "04 89 00 00 00 00 00 00 00 00 01 61"}) {
        Element ber(fromHex(bytes));
        Taken taken = take(ber);
        EXPECT_EQ(taken.tag, LBER_ERROR) << bytes;
        EXPECT_EQ(taken.buffer, nullptr) << bytes;
    }
}

} // namespace
} // namespace qldapx_test
