#include "controls/control.h"
#include "qldapx/control.h"

namespace {

using namespace qldapx;

// GetEffectiveRights ::= SEQUENCE { CHOICE {
//     mode  [0] IMPLICIT INTEGER,
//     items [1] IMPLICIT SEQUENCE OF CHOICE {
//         first [0] IMPLICIT OCTET STRING, second [1] IMPLICIT OCTET STRING } } }
// The server wants the primitive form of the tags, although the items are constructed.
constexpr ber_tag_t modeTag = 0x80, itemsTag = 0x81, firstTag = 0x80, secondTag = 0x81;

int encodeMode(BerElement *value, int mode) {
    return ber_printf(value, "{tiN}", modeTag, mode);
}

int encodeItems(BerElement *value, GetEffectiveItem **items) {
    if (ber_printf(value, "{t{", itemsTag) == -1)
        return -1;
    for (; *items != nullptr; ++items) {
        const GetEffectiveItem &item = **items;
        bool isFirst = item.first != nullptr;
        const char *text = isFirst ? item.first : item.second;
        // liblber would abort.
        if (text == nullptr)
            return -1;
        if (ber_printf(value, "ts", isFirst ? firstTag : secondTag, text) == -1)
            return -1;
    }
    return ber_printf(value, "}N}");
}

} // namespace

extern "C" {

int ldap_create_geteffective_control(LDAP *ld, GetEffectiveItem **items, int mode, int isCritical,
                                     LDAPControl **ctrlp) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    bool isList = mode != 0 && mode != 1;
    if (ctrlp == nullptr || (isList && items == nullptr))
        return storeResult(ld, LDAP_PARAM_ERROR);
    return storeResult(ld, createControl(ld, "2.16.840.1.907341.1.27.101.33", isCritical, ctrlp,
                                         [&](BerElement *value) {
                                             return isList ? encodeItems(value, items)
                                                           : encodeMode(value, mode);
                                         }));
}
}
