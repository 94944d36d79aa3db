// Bulk update with memory that runs out at each of its allocations, and what stays allocated.
#include "no_memory.h"

#include "lburp/answered.h"
#include "lburp/samples.h"

namespace qldapx_test {
namespace {

char dn[] = "cn=a";

// The caller's encoder is released with a failure, and only then.
TEST(LburpEncoders, NoMemory) {
    Modifications mods;
    mods.bytes(0, "a", {manyBytes, manyBytes, manyBytes});
    RequestControls controls;
    controls.add("1.2", true, manyBytes);
    LDAPMod **list = mods.list();
    LDAPControl **controlList = controls.list();
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        long before = failing_memory::liveBlocks();
        BerElement *ber = ber_alloc_t(0);
        failing_memory::failAllocation(number);
        int result = LBURPEncodeMod(nullptr, dn, list, controlList, ber);
        failed = failing_memory::disarm();
        EXPECT_EQ(result, failed ? LDAP_ENCODING_ERROR : LDAP_SUCCESS);
        EXPECT_TRUE(failed || number > 3);
        if (!failed)
            ber_free(ber, 1);
        EXPECT_EQ(failing_memory::liveBlocks(), before);
    }
}

TEST(LburpEncoders, RefusalReleasesTheEncoder) {
    long before = failing_memory::liveBlocks();
    LDAPMod **noList = nullptr;
    EXPECT_EQ(LBURPEncodeAdd(nullptr, nullptr, noList, nullptr, ber_alloc_t(0)),
              LDAP_ENCODING_ERROR);
    EXPECT_EQ(LBURPEncodeDelete(nullptr, nullptr, nullptr, ber_alloc_t(0)), LDAP_ENCODING_ERROR);
    EXPECT_EQ(LBURPEncodeMod(nullptr, nullptr, noList, nullptr, ber_alloc_t(0)),
              LDAP_ENCODING_ERROR);
    EXPECT_EQ(LBURPEncodeModRDN(nullptr, dn, nullptr, nullptr, 1, nullptr, ber_alloc_t(0)),
              LDAP_ENCODING_ERROR);
    EXPECT_EQ(failing_memory::liveBlocks(), before);
}

using Request = int (*)(LDAP *ld, int *id);

const Request requests[] = {
    ldap_lburp_start_request,
    sendMuch,
    [](LDAP *ld, int *id) { return ldap_lburp_end_request(ld, 1, id); },
};

TEST(LburpRequests, NoMemory) {
    for (Request send : requests)
        exhaust(
            {ScriptedPeer::silence()},
            [&](LDAP *ld) {
                int id = 0;
                return send(ld, &id);
            },
            [](int) {});
}

// Without an encoder there is no request: the session hears nothing of it.
TEST(LburpRequests, NoEncoder) {
    for (Request send : requests)
        for (long number : {1L, 2L}) {
            ScriptedPeer peer({});
            LDAP *ld = peer.session();
            int id = unset, busy = LDAP_BUSY;
            ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &busy);
            failing_memory::failAllocation(number);
            int result = send(ld, &id);
            EXPECT_TRUE(failing_memory::disarm());
            EXPECT_EQ(result, number == 1 ? LDAP_NO_MEMORY : LDAP_ENCODING_ERROR);
            EXPECT_EQ(resultCode(ld), number == 1 ? LDAP_BUSY : LDAP_ENCODING_ERROR);
            EXPECT_EQ(id, unset);
            EXPECT_TRUE(peer.received().empty());
        }
}

struct Parsed {
    int result;
    int count = unset;
    LBURPOperationFailure *failures = nullptr;
    char *text = nullptr;
};

using Parse = Parsed (*)(LDAP *ld, LDAPMessage *message);

// Parses with each allocation failing; finish(parsed, failed) gives the blocks that are lost.
template <class Finish>
void exhaustAnswer(const Bytes &operation, Parse parse, Finish finish) {
    Answered answer(operation);
    // libldap keeps the server's texts with the session.
    ldap_memfree(parse(answer.session(), answer.message()).text);
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        const long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        Parsed parsed = parse(answer.session(), answer.message());
        failed = failing_memory::disarm();
        EXPECT_EQ(failed, parsed.result < LDAP_SUCCESS) << parsed.result;
        EXPECT_EQ(resultCode(answer.session()), parsed.result);
        ldap_memfree(parsed.text);
        long lost = finish(parsed, failed);
        EXPECT_TRUE(failing_memory::liveBlocks() - before <= lost);
    }
}

TEST(LburpStartResponse, NoMemory) {
    exhaustAnswer(
        extendedResponse(0, startResponseOid, sequence({integer(5)})),
        [](LDAP *ld, LDAPMessage *message) {
            Parsed parsed{};
            int code = 0;
            parsed.result =
                ldap_parse_lburp_start_response(ld, message, &code, &parsed.text, &parsed.count, 0);
            return parsed;
        },
        [](const Parsed &parsed, bool failed) {
            EXPECT_EQ(parsed.count, failed ? unset : 5);
            return 0;
        });
}

TEST(LburpEndResponse, NoMemory) {
    exhaustAnswer(
        extendedResponse(0, endResponseOid, "x"),
        [](LDAP *ld, LDAPMessage *message) {
            Parsed parsed{};
            parsed.result = ldap_parse_lburp_end_response(ld, message, nullptr, &parsed.text, 0);
            return parsed;
        },
        [](const Parsed &, bool) { return 0; });
}

constexpr int failures = 3;

TEST(LburpOperationResponse, NoMemory) {
    Bytes value;
    for (int i = 0; i < failures; ++i)
        value += failure(i, 68, "dc=x", "exists");
    int noMemory = 0;
    exhaustAnswer(
        extendedResponse(80, operationResponseOid, value),
        [](LDAP *ld, LDAPMessage *message) {
            Parsed parsed{};
            parsed.result = ldap_parse_lburp_operation_response(ld, message, nullptr, &parsed.text,
                                                                &parsed.count, &parsed.failures, 0);
            return parsed;
        },
        [&](const Parsed &parsed, bool failed) {
            EXPECT_EQ(parsed.count, failed ? 0 : failures);
            EXPECT_EQ(parsed.failures == nullptr, failed);
            noMemory += parsed.result == LDAP_NO_MEMORY;
            for (int i = 0; i < parsed.count; ++i)
                ldap_memfree(parsed.failures[i].errorMessage);
            ldapx_memfree(parsed.failures);
            return failed ? failures : 0; // the messages read by then
        });
    EXPECT_GE(noMemory, failures + 2); // the list, each time that it grows, and the decoder
}

// A list takes memory for what has come, whatever it says.
TEST(LburpOperationResponse, HostileLengths) {
    for (const char *value : {"30 88 00 00 00 00 7f ff ff ff 02 01 01",
                              "30 84 7f ff ff ff 02 01 01 30 84 7f ff ff f0 02 01 01 04 00 04 00",
                              "30 0f 02 01 05 30 0a 02 01 20 04 84 7f ff ff ff 04"}) {
        Answered answer(extendedResponse(80, operationResponseOid, fromHex(value)));
        int count = unset;
        LBURPOperationFailure *list = nullptr;
        failing_memory::markPeak();
        EXPECT_EQ(ldap_parse_lburp_operation_response(answer.session(), answer.message(), nullptr,
                                                      nullptr, &count, &list, 0),
                  LDAP_DECODING_ERROR);
        EXPECT_LT(failing_memory::peakBytes(), 10000);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(list, nullptr);
    }
}

} // namespace
} // namespace qldapx_test
