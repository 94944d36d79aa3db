#include "controls/control.h"
#include "qldapx/control.h"

namespace {

using namespace qldapx;

// The same OID both ways; the request has no value.
// Response: SET OF elements, each present or not:
//     ref1 [1] OCTET STRING, ref2 [2] INTEGER, ref3 [3] OCTET STRING, ref4 [4] INTEGER,
//     ref5 [5] { SEQUENCE OF OCTET STRING }, ref6 [6] OCTET STRING
constexpr char referenceOid[] = "2.16.840.1.907341.1.1.5150.101.1";

// Decodes what cannot reach the caller. The strings are not released: that is the contract of
// ldap_parse_reference_control.
bool loseText(Decoder &value, ber_tag_t tag) {
    LdapStringPtr text;
    bool isRead = value.text(text, tag);
    static_cast<void>(text.release());
    return isRead;
}

bool loseNumber(Decoder &value, ber_tag_t tag) {
    int number = 0;
    return value.integer(&number, tag);
}

bool loseTexts(Decoder &value, ber_tag_t tag) {
    char **texts = nullptr;
    ber_len_t after = 0;
    return value.enter(tag, &after) && value.strings(&texts) && value.endOf(after);
}

struct Lost {
    ber_tag_t tag;
    bool (*read)(Decoder &, ber_tag_t);
};

constexpr Lost lost[] = {
    {0x81, loseText}, {0x82, loseNumber}, {0x83, loseText}, {0x84, loseNumber}, {0x85, loseTexts}};
constexpr ber_tag_t ref6Tag = 0x86;

// One element; one that has no place in the set does not decode.
bool readElement(Decoder &value, LdapStringPtr &ref6) {
    if (value.nextIs(ref6Tag))
        return value.text(ref6, ref6Tag);
    for (const Lost &element : lost)
        if (value.nextIs(element.tag))
            return element.read(value, element.tag);
    return false;
}

bool readReference(Decoder &value, LdapStringPtr &ref6) {
    ber_len_t after = 0;
    if (!value.enter(LBER_SET, &after))
        return false;
    while (value.insideOf(after))
        if (!readElement(value, ref6))
            return false;
    return value.endOf(after);
}

int parseReference(LDAPControl **ctrls, char **ref6) {
    LdapStringPtr reference;
    int result = parseControl(ctrls, referenceOid, [&reference](Decoder &value) {
        return readReference(value, reference);
    });
    if (result == LDAP_SUCCESS && reference != nullptr)
        *ref6 = reference.release();
    return result;
}

} // namespace

extern "C" {

int ldap_create_reference_control(LDAP *ld, int isCritical, LDAPControl **ctrlp) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    if (ctrlp == nullptr)
        return storeResult(ld, LDAP_PARAM_ERROR);
    return storeResult(ld, ldap_create_control(referenceOid, nullptr, isCritical, ctrlp));
}

// All but ref6 are passed by value and cannot receive anything.
int ldap_parse_reference_control(LDAP *ld, LDAPControl **ctrls, char * /*ref1*/, int /*ref2*/,
                                 char * /*ref3*/, int /*ref4*/, char ** /*ref5*/, char **ref6) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    return storeResult(ld, parseReference(ctrls, ref6));
}
}
