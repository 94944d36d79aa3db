// The values of controls that come with answers, behind a byte that says of which.
#include "ber_ptr.h"
#include "controls/control_list.h"
#include "heap_watch.h"
#include "message_run.h"
#include "targets.h"

#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

constexpr int untouched = -4711;
volatile std::size_t sink;

// A session that nothing is sent with.
LDAP *anySession() {
    static LDAP *session = nullptr;
    if (session == nullptr)
        ldap_initialize(&session, "ldap://127.0.0.1:1");
    return session;
}

void readAndFreeText(char *text) {
    sink = sink + std::char_traits<char>::length(text);
    ldap_memfree(text);
}

struct Change {
    int type = untouched, isNumbered = untouched, number = untouched;
};

// Without what it does not ask for, a parser reads the same of the rest.
int parseChange(LDAPControl **controls) {
    Change change, again;
    char *before = nullptr;
    const int result = ldapx_parse_entrychange_control(anySession(), controls, &change.type,
                                                       &before, &change.isNumbered, &change.number);
    require(result == LDAP_SUCCESS || before == nullptr, "a DN after a failure");
    if (before != nullptr)
        readAndFreeText(before);
    const int only = ldapx_parse_entrychange_control(anySession(), controls, &again.type, nullptr,
                                                     nullptr, nullptr);
    require(again.type == change.type, "another type without the rest");
    require(result != LDAP_SUCCESS || only == LDAP_SUCCESS, "no type without the rest");
    requireStored(anySession(), only);
    return result;
}

int parseReference(LDAPControl **controls) {
    char *reference = nullptr;
    const int result = ldap_parse_reference_control(anySession(), controls, nullptr, 0, nullptr, 0,
                                                    nullptr, &reference);
    require(result == LDAP_SUCCESS || reference == nullptr, "a reference after a failure");
    if (reference != nullptr)
        readAndFreeText(reference);
    return result;
}

int parseStatus(LDAPControl **controls) {
    int status[4] = {untouched, untouched, untouched, untouched};
    return ldap_parse_sstatus_control(anySession(), controls, &status[0], &status[1], &status[2],
                                      &status[3]);
}

struct Parser {
    const char *oid;
    int (*parse)(LDAPControl **controls);
    bool losesTexts = false; // but for the last one
};

constexpr Parser parsers[] = {{qldapx_test::entryChangeOid, parseChange},
                              {qldapx_test::referenceOid, parseReference, true},
                              {qldapx_test::statusOid, parseStatus}};

} // namespace

void runControlValue(const Target & /*target*/, const Bytes &bytes) {
    if (bytes.empty())
        return;
    const Parser &parser = parsers[static_cast<unsigned char>(bytes[0]) % std::size(parsers)];
    anySession();
    qldapx_test::ControlList controls;
    controls.add(parser.oid, bytes.substr(1));
    HeapWatch watch(bytes.size());
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR}, parser.parse(controls.get()));
    if (parser.losesTexts)
        watch.releaseAll();
}

// Every element in turn, up to the first that is none.
void runReturnedBuffer(const Target & /*target*/, const Bytes &bytes) {
    HeapWatch watch(bytes.size());
    const BerPtr ber = decoderOf({bytes.size(), const_cast<char *>(bytes.data())});
    for (;;) {
        ber_len_t length = 0;
        const ber_tag_t expected = ber_peek_tag(ber.get(), &length);
        char *buffer = nullptr;
        const ber_tag_t tag = get_returnedBuffer(ber.get(), &buffer);
        require(tag == expected && (tag == LBER_ERROR) == (buffer == nullptr),
                "an element is read otherwise");
        if (tag == LBER_ERROR)
            return;
        require(buffer[length] == '\0', "the contents do not end");
        ber_memfree(buffer);
    }
}

} // namespace qldapx_fuzz
