#include "ber.h"
#include "message.h"
#include "wire.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace stratasim;
using wire::hex;

TEST(BerWriter, IntegersAreMinimal) {
    const std::pair<std::int64_t, const char *> cases[] = {
        {0, "020100"},
        {1, "020101"},
        {127, "02017f"},
        {128, "02020080"},
        {255, "020200ff"},
        {256, "02020100"},
        {-1, "0201ff"},
        {-128, "020180"},
        {-129, "0202ff7f"},
        {32767, "02027fff"},
        {32768, "0203008000"},
        {2147483647, "02047fffffff"},
        {-2147483648LL, "020480000000"},
        {std::numeric_limits<std::int64_t>::max(), "02087fffffffffffffff"},
        {std::numeric_limits<std::int64_t>::min(), "02088000000000000000"}};
    for (const auto &[value, expected] : cases) {
        std::string out;
        ber::Writer(out).integer(value);
        EXPECT_EQ(out, hex(expected)) << value;
        EXPECT_EQ(ber::Reader(asBytes(out)).integer(ber::kInteger, "it"), value);
    }
}

TEST(BerWriter, LengthsAreMinimal) {
    const std::pair<std::size_t, const char *> cases[] = {{0, "0400"},       {127, "047f"},
                                                          {128, "048180"},   {255, "0481ff"},
                                                          {256, "04820100"}, {65536, "0483010000"}};
    for (const auto &[size, header] : cases) {
        const std::string content(size, 'x');
        std::string known;
        ber::Writer(known).octets(content);
        EXPECT_EQ(known, hex(header) + content);
        std::string opened;
        ber::Writer writer(opened);
        const std::size_t mark = writer.open(0x04);
        opened += content;
        writer.close(mark);
        EXPECT_EQ(opened, known);
    }
}

TEST(BerReader, TakesLengthsThatAreLongerThanNeeded) {
    for (const char *bytes : {"040161", "04810161", "0482000161",
                              "048400000001"
                              "61",
                              "048800000000000000"
                              "0161"}) {
        const std::string data = hex(bytes);
        ber::Reader reader(asBytes(data));
        EXPECT_EQ(reader.text("it"), "a") << bytes;
        EXPECT_TRUE(reader.atEnd());
    }
}

TEST(BerReader, RefusesWhatIsNoElement) {
    const char *cases[] = {
        "",                         // nothing
        "04",                       // no length
        "0480",                     // indefinite length
        "0481",                     // half a length
        "0401",                     // no content
        "04840000000261",           // content too short
        "0484ffffffff61",           // four gigabytes
        "0488ffffffffffffffff",     // more than there can be
        "048900000000000000000161", // nine octets of length
        "1f0161",                   // high tag number
    };
    for (const char *bytes : cases) {
        const std::string data = hex(bytes);
        EXPECT_THROW((void)ber::Reader(asBytes(data)).text("it"), ber::Error) << bytes;
    }
}

TEST(BerReader, SaysWhatWasWrong) {
    const std::string data = hex("020101");
    try {
        (void)ber::Reader(asBytes(data)).text("name");
        FAIL();
    } catch (const ber::Error &error) {
        EXPECT_STREQ(error.what(), "name: tag 0x02 where 0x04 is due");
    }
}

TEST(BerReader, RefusesBadIntegersAndBooleans) {
    for (const char *bytes :
         {"0200", "0209000000000000000001", "02050100000000", "0205ff00000000"}) {
        const std::string data = hex(bytes);
        EXPECT_THROW((void)ber::Reader(asBytes(data)).integer32(ber::kInteger, "it"), ber::Error)
            << bytes;
    }
    for (const char *bytes : {"0100", "01020000"}) {
        const std::string data = hex(bytes);
        EXPECT_THROW((void)ber::Reader(asBytes(data)).boolean(ber::kBoolean, "it"), ber::Error);
    }
}

TEST(Frame, KnowsTheLengthBeforeTheContent) {
    struct Case {
        const char *bytes;
        ber::Frame::Status status;
        std::size_t length;
    };
    using enum ber::Frame::Status;
    const Case cases[] = {
        {"", Incomplete, 0},
        {"30", Incomplete, 0},
        {"3082", Incomplete, 0},
        {"308203", Incomplete, 0},
        {"30020101", Complete, 4},
        {"3002010130", Complete, 4},
        {"300201", Incomplete, 4},
        {"3084000003e8", Incomplete, 1006},
        {"30840000ffff", TooLarge, 65541},
        {"3088ffffffffffffffff", TooLarge, std::numeric_limits<std::size_t>::max() / 2 + 10},
        {"3080", Malformed, 0},
        {"3089", Malformed, 0},
        {"31", Malformed, 0},
        {"00", Malformed, 0},
    };
    for (const Case &c : cases) {
        const std::string data = hex(c.bytes);
        const ber::Frame frame = ber::frameOf(asBytes(data), 65540);
        EXPECT_EQ(frame.status, c.status) << c.bytes;
        EXPECT_EQ(frame.length, c.length) << c.bytes;
    }
}

TEST(Message, DecodesControls) {
    const std::string data = wire::message(
        7, wire::bind("", ""),
        wire::control("1.2.3", true) + wire::tlv(0x30, wire::text("1.2.4") + wire::text("v")));
    const Request request = decodeRequest(asBytes(data));
    EXPECT_EQ(request.id, 7);
    EXPECT_EQ(request.tag, 0x60);
    ASSERT_EQ(request.controls.size(), 2U);
    EXPECT_EQ(request.controls[0].oid, "1.2.3");
    EXPECT_TRUE(request.controls[0].critical);
    EXPECT_FALSE(request.controls[0].value);
    EXPECT_FALSE(request.controls[1].critical);
    EXPECT_EQ(asText(request.controls[1].value.value()), "v");
}

TEST(Message, RefusesIdsThatAreNotPositive) {
    for (const char *id : {"020100", "0201ff", "02050100000000", "0400"})
        EXPECT_THROW((void)decodeRequest(asBytes(wire::tlv(0x30, hex(id) + wire::bind("", "")))),
                     ber::Error);
}

TEST(Message, WritesResultsAsTheyStand) {
    std::string out;
    appendResult(out, 300, 0x65, {ResultCode::NoSuchObject, "dc=x", "gone"});
    EXPECT_EQ(out, hex("3015 0202012c 650f 0a0120 0404") + "dc=x" + hex("0404") + "gone");
    out.clear();
    appendExtended(out, 1, {{}, "1.2", "v"});
    EXPECT_EQ(out, hex("3014 020101 780f 0a0100 0400 0400 8a03") + "1.2" + hex("8b01") + "v");
}

} // namespace
