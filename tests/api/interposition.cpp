// An application that defines functions under names that the library calls inside itself: the
// library must keep calling its own. (The executable exports its symbols, as one with plug-ins
// does, so the dynamic linker would prefer them.)
#include "interposition.h"

#include <gtest/gtest.h>

CAPTURE(add_change)
CAPTURE(verify_callback)
CAPTURE(add_cert)
CAPTURE(new_value)
CAPTURE(MD5)

CAPTURE_DECLARED(wrapper_ldap_trigger_backlink, LDAP *)
CAPTURE_DECLARED(wrapper_ldap_trigger_janitor, LDAP *)
CAPTURE_DECLARED(wrapper_ldap_trigger_limber, LDAP *, char *)
CAPTURE_DECLARED(wrapper_ldap_trigger_skulker, LDAP *)
CAPTURE_DECLARED(wrapper_ldap_trigger_schema_sync, LDAP *)
CAPTURE_DECLARED(wrapper_ldap_trigger_partition_purge, LDAP *)
CAPTURE_DECLARED(ldap_url_search, LDAP *, const char *, int)
CAPTURE_DECLARED(ldap_url_search_st, LDAP *, const char *, int, timeval *, LDAPMessage **)
CAPTURE_DECLARED(parseOctetString, BerElement *, char **, ber_len_t *, ber_tag_t)
CAPTURE_DECLARED(parseStringSequence, BerElement *, char ***)
CAPTURE_DECLARED(parseReferralList, BerElement *, int *, ReferralEntry **)
CAPTURE_DECLARED(parseConnectionData, BerElement *, ConnectionInfo **)

CAPTURE_VOID(freeStringSequence, char **)
CAPTURE_VOID(freeReferralList, int, ReferralEntry *)
CAPTURE_VOID(freeConnectionData, ConnectionInfo *)

namespace {

TEST(Interposition, TheLibraryCallsItsOwnFunctions) {
    LDAP *ld = nullptr;
    ASSERT_EQ(ldap_initialize(&ld, "ldap://127.0.0.1:1"), LDAP_SUCCESS);
    int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    char dn[] = "dc=example";
    for (int process = 1; process <= 6; ++process)
        EXPECT_EQ(ldap_trigger_back_process(ld, process, dn), LDAP_SERVER_DOWN) << process;
    LDAPMessage *chain = nullptr;
    EXPECT_EQ(ldap_url_search_s(ld, "ldap:///dc=example", 0, &chain), LDAP_SERVER_DOWN);
    EXPECT_EQ(captured, 0);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

using Decoder = int(LDAP *, BerElement *, void **, void **);

template <std::size_t size>
void decode(const char (&bytes)[size], Decoder *decoder) {
    LDAP *ld = nullptr;
    ASSERT_EQ(ldap_initialize(&ld, "ldap://127.0.0.1:1"), LDAP_SUCCESS);
    berval value{size - 1, const_cast<char *>(bytes)};
    BerElement *ber = ber_init(&value);
    void *event = nullptr, *address = nullptr;
    EXPECT_EQ(decoder(ld, ber, &event, &address), LDAP_SUCCESS);
    ldap_event_free(event);
    ber_free(ber, 1);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

TEST(Interposition, EventsAreDecodedByTheLibrarysOwn) {
    // A connection, four numbers, a string and a list of one.
    decode("\x30\x09\x02\x01\x01\x02\x01\x02\x04\x01m"
           "\x02\x01\x01\x02\x01\x02\x02\x01\x03\x02\x01\x04\x04\x01s"
           "\x81\x05\x30\x03\x04\x01l",
           parseResponseEventData);
    // A string, a number, a string and a list of one referral without a value.
    decode("\x04\x01s\x02\x01\x01\x04\x01s"
           "\x30\x0c\x02\x01\x01\x30\x07\x30\x05\x02\x01\x05\x04\x00",
           parseSEVEventData);
    EXPECT_EQ(captured, 0);
}

} // namespace
