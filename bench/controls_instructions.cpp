// controls_instructions list - names what can be counted.
// controls_instructions NAME library|hand N - builds or parses a control N times, for callgrind
// to count instructions of: by the library, or by a caller who does the same on liblber.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <qldapx.h>

extern "C" {
// Exported by libldap, but in none of its installed headers.
BerElement *ldap_alloc_ber_with_options(LDAP *ld);
int ldap_create_control(const char *oid, BerElement *ber, int iscritical, LDAPControl **ctrlp);
}

namespace {

int store(LDAP *ld, int result) {
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &result);
    return result;
}

// What a builder does when the value is written.
int finish(LDAP *ld, BerElement *ber, bool written, const char *oid, LDAPControl **ctrlp) {
    int result = written ? ldap_create_control(oid, ber, 1, ctrlp) : LDAP_ENCODING_ERROR;
    ber_free(ber, 1);
    return store(ld, result);
}

int persistentSearch(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_persistentsearch_control(ld, 15, 1, 1, 1, &control);
    ldap_control_free(control);
    return result;
}

int persistentSearchByHand(LDAP *ld) {
    LDAPControl *control = nullptr;
    BerElement *ber = ldap_alloc_ber_with_options(ld);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool written = ber_printf(ber, "{ibbN}", 15, 1, 1) != -1;
    int result = finish(ld, ber, written, "2.16.840.1.113730.3.4.3", &control);
    ldap_control_free(control);
    return result;
}

int proxiedAuthorization(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_proxyauth_control(ld, "cn=admin,dc=example,dc=com", &control);
    ldap_control_free(control);
    return result;
}

int proxiedAuthorizationByHand(LDAP *ld) {
    LDAPControl *control = nullptr;
    berval dn{};
    ber_str2bv("cn=admin,dc=example,dc=com", 0, 0, &dn);
    int result = ldap_control_create("2.16.840.1.113730.3.4.18", 1, &dn, 1, &control);
    ldap_control_free(control);
    return store(ld, result);
}

constexpr char rightsOid[] = "2.16.840.1.907341.1.27.101.33";

int rightsByMode(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_geteffective_control(ld, nullptr, 1, 1, &control);
    ldap_control_free(control);
    return result;
}

int rightsByModeByHand(LDAP *ld) {
    LDAPControl *control = nullptr;
    BerElement *ber = ldap_alloc_ber_with_options(ld);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool written = ber_printf(ber, "{tiN}", static_cast<ber_tag_t>(0x80), 1) != -1;
    int result = finish(ld, ber, written, rightsOid, &control);
    ldap_control_free(control);
    return result;
}

GetEffectiveItem first = {"telephoneNumber", nullptr};
GetEffectiveItem second = {nullptr, "person"};
GetEffectiveItem *items[] = {&first, &second, nullptr};

int rightsByItems(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_geteffective_control(ld, items, 2, 1, &control);
    ldap_control_free(control);
    return result;
}

int rightsByItemsByHand(LDAP *ld) {
    LDAPControl *control = nullptr;
    BerElement *ber = ldap_alloc_ber_with_options(ld);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool written = ber_printf(ber, "{t{", static_cast<ber_tag_t>(0x81)) != -1;
    for (GetEffectiveItem **item = items; written && *item != nullptr; ++item) {
        if ((*item)->first != nullptr)
            written = ber_printf(ber, "ts", static_cast<ber_tag_t>(0x80), (*item)->first) != -1;
        else
            written = ber_printf(ber, "ts", static_cast<ber_tag_t>(0x81), (*item)->second) != -1;
    }
    written = written && ber_printf(ber, "}N}") != -1;
    int result = finish(ld, ber, written, rightsOid, &control);
    ldap_control_free(control);
    return result;
}

constexpr char statusOid[] = "2.16.840.1.907341.1.27.101.40";
int flags[] = {1, 1, 1, 1, 1, 1, 1};

int statusRequest(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_sstatus_control(ld, flags, 1, &control);
    ldap_control_free(control);
    return result;
}

int statusRequestByHand(LDAP *ld) {
    LDAPControl *control = nullptr;
    BerElement *ber = ldap_alloc_ber_with_options(ld);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool written = ber_printf(ber, "{") != -1;
    for (int i = 0; written && i < 7; ++i)
        if (i == 2 ? flags[i] != -1 : flags[i] == 0 || flags[i] == 1)
            written = ber_printf(ber, "tb", static_cast<ber_tag_t>(0x80 + i),
                                 i < 3 ? flags[i] : flags[1]) != -1;
    written = written && ber_printf(ber, "N}") != -1;
    int result = finish(ld, ber, written, statusOid, &control);
    ldap_control_free(control);
    return result;
}

constexpr char referenceOid[] = "2.16.840.1.907341.1.1.5150.101.1";

int referenceRequest(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_reference_control(ld, 1, &control);
    ldap_control_free(control);
    return result;
}

int referenceRequestByHand(LDAP *ld) {
    LDAPControl *control = nullptr;
    int result = ldap_create_control(referenceOid, nullptr, 1, &control);
    ldap_control_free(control);
    return store(ld, result);
}

// Response controls as libldap delivers them, behind another.
struct Answer {
    Answer(const char *oid, const char *bytes, std::size_t size)
        : control{const_cast<char *>(oid), {size, const_cast<char *>(bytes)}, 0} {}

    LDAPControl other{const_cast<char *>("1.2.840.113556.1.4.319"), {0, nullptr}, 0};
    LDAPControl control;
    LDAPControl *list[3] = {&other, &control, nullptr};
};

LDAPControl *find(LDAPControl **list, const char *oid) {
    for (; *list != nullptr; ++list)
        if (std::strcmp((*list)->ldctl_oid, oid) == 0)
            return *list;
    return nullptr;
}

constexpr char entryChangeOid[] = "2.16.840.1.113730.3.4.7";
constexpr char entryChange[] = "\x30\x0b\x0a\x01\x08\x04\x03o=a\x80\x01\x07";
Answer entryChangeAnswer(entryChangeOid, entryChange, sizeof entryChange - 1);

int parseEntryChange(LDAP *ld) {
    int type = 0, present = 0, number = 0;
    char *previous = nullptr;
    int result = ldap_parse_entrychange_control(ld, entryChangeAnswer.list, &type, &previous,
                                                &present, &number);
    ldap_memfree(previous);
    return result;
}

int parseEntryChangeByHand(LDAP *ld) {
    int type = 0, number = 0;
    char *previous = nullptr;
    ber_len_t length = 0;
    LDAPControl *control = find(entryChangeAnswer.list, entryChangeOid);
    if (control == nullptr)
        return store(ld, LDAP_CONTROL_NOT_FOUND);
    BerElement *ber = ber_init(&control->ldctl_value);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool read = ber_scanf(ber, "{e", &type) != LBER_ERROR;
    if (read && ber_peek_tag(ber, &length) == LBER_OCTETSTRING)
        read = ber_scanf(ber, "a", &previous) != LBER_ERROR;
    if (read && ber_peek_tag(ber, &length) == 0x80)
        read = ber_scanf(ber, "i", &number) != LBER_ERROR;
    ber_free(ber, 1);
    ldap_memfree(previous);
    return store(ld, read ? LDAP_SUCCESS : LDAP_DECODING_ERROR);
}

constexpr char status[] = "\x30\x0c\x80\x01\x01\x81\x01\x02\x82\x01\x03\x83\x01\x04";
Answer statusAnswer(statusOid, status, sizeof status - 1);

int parseStatus(LDAP *ld) {
    int numbers[4] = {};
    return ldap_parse_sstatus_control(ld, statusAnswer.list, &numbers[0], &numbers[1], &numbers[2],
                                      &numbers[3]);
}

int parseStatusByHand(LDAP *ld) {
    int numbers[4] = {};
    ber_len_t length = 0;
    LDAPControl *control = find(statusAnswer.list, statusOid);
    if (control == nullptr)
        return store(ld, LDAP_CONTROL_NOT_FOUND);
    BerElement *ber = ber_init(&control->ldctl_value);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool read = ber_scanf(ber, "{") != LBER_ERROR;
    for (ber_tag_t i = 0; read && i < 4; ++i)
        if (ber_peek_tag(ber, &length) == 0x80 + i)
            read = ber_scanf(ber, "i", &numbers[i]) != LBER_ERROR;
    ber_free(ber, 1);
    return store(ld, read ? LDAP_SUCCESS : LDAP_DECODING_ERROR);
}

constexpr char reference[] = "\x31\x0a\x82\x01\x07\x86\x05ref=6";
Answer referenceAnswer(referenceOid, reference, sizeof reference - 1);

int parseReference(LDAP *ld) {
    char *text = nullptr;
    int result = ldap_parse_reference_control(ld, referenceAnswer.list, nullptr, 0, nullptr, 0,
                                              nullptr, &text);
    ldap_memfree(text);
    return result;
}

int parseReferenceByHand(LDAP *ld) {
    int number = 0;
    char *text = nullptr;
    ber_len_t length = 0;
    LDAPControl *control = find(referenceAnswer.list, referenceOid);
    if (control == nullptr)
        return store(ld, LDAP_CONTROL_NOT_FOUND);
    BerElement *ber = ber_init(&control->ldctl_value);
    if (ber == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    bool read = ber_scanf(ber, "[") != LBER_ERROR;
    while (read) {
        ber_tag_t tag = ber_peek_tag(ber, &length);
        if (tag == LBER_ERROR)
            break;
        if (tag == 0x82)
            read = ber_scanf(ber, "i", &number) != LBER_ERROR;
        else if (tag == 0x86)
            read = ber_scanf(ber, "a", &text) != LBER_ERROR;
        else
            read = false;
    }
    ber_free(ber, 1);
    ldap_memfree(text);
    return store(ld, read ? LDAP_SUCCESS : LDAP_DECODING_ERROR);
}

struct Contestant {
    const char *name;
    int (*library)(LDAP *);
    int (*hand)(LDAP *);
};

const Contestant contestants[] = {
    {"ldap_create_persistentsearch_control", persistentSearch, persistentSearchByHand},
    {"ldap_parse_entrychange_control", parseEntryChange, parseEntryChangeByHand},
    {"ldap_create_proxyauth_control", proxiedAuthorization, proxiedAuthorizationByHand},
    {"ldap_create_geteffective_control(mode)", rightsByMode, rightsByModeByHand},
    {"ldap_create_geteffective_control(items)", rightsByItems, rightsByItemsByHand},
    {"ldap_create_sstatus_control", statusRequest, statusRequestByHand},
    {"ldap_parse_sstatus_control", parseStatus, parseStatusByHand},
    {"ldap_create_reference_control", referenceRequest, referenceRequestByHand},
    {"ldap_parse_reference_control", parseReference, parseReferenceByHand},
};

int repeat(int (*call)(LDAP *), int rounds) {
    LDAP *ld = nullptr;
    if (ldap_initialize(&ld, nullptr) != LDAP_SUCCESS)
        return 1;
    int result = LDAP_SUCCESS;
    while (rounds-- > 0 && result == LDAP_SUCCESS)
        result = call(ld);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return result == LDAP_SUCCESS ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    for (const Contestant &contestant : contestants) {
        if (argc == 2)
            std::puts(contestant.name);
        else if (argc == 4 && std::strcmp(argv[1], contestant.name) == 0)
            return repeat(std::strcmp(argv[2], "library") == 0 ? contestant.library
                                                               : contestant.hand,
                          std::atoi(argv[3]));
    }
    if (argc == 2)
        return 0;
    std::fprintf(stderr, "usage: %s list | NAME library|hand N\n", argv[0]);
    return 2;
}
