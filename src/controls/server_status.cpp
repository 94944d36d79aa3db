#include "controls/control.h"
#include "qldapx/control.h"

namespace {

using namespace qldapx;

// The same OID both ways.
// Request:  SEQUENCE { [0] BOOLEAN OPTIONAL, ... [6] BOOLEAN OPTIONAL }
// Response: SEQUENCE { [0] INTEGER OPTIONAL, ... [3] INTEGER OPTIONAL }
constexpr char statusOid[] = "2.16.840.1.907341.1.27.101.40";
constexpr ber_tag_t firstTag = 0x80;

bool isFlag(int entry) {
    return entry == 0 || entry == 1;
}

bool isGiven(int entry) {
    return entry != -1;
}

struct Element {
    bool (*isSent)(int entry);
    int source; // index of the entry whose value is sent
};

// The last four tell by their own entry only that they are sent: the server takes the second
// entry's value in them.
constexpr Element elements[] = {{isFlag, 0}, {isFlag, 1}, {isGiven, 2}, {isFlag, 1},
                                {isFlag, 1}, {isFlag, 1}, {isFlag, 1}};

int encodeFlags(BerElement *value, const int *flags) {
    if (ber_printf(value, "{") == -1)
        return -1;
    ber_tag_t tag = firstTag;
    for (int i = 0; const Element &element : elements) {
        if (element.isSent(flags[i]) && ber_printf(value, "tb", tag, flags[element.source]) == -1)
            return -1;
        ++i;
        ++tag;
    }
    return ber_printf(value, "N}");
}

// A status that is absent leaves its output alone; what follows the fourth is not read.
bool readStatus(Decoder &value, std::initializer_list<int *> outputs) {
    ber_len_t after = 0;
    if (!value.enter(LBER_SEQUENCE, &after))
        return false;
    ber_tag_t tag = firstTag;
    for (int *output : outputs) {
        if (value.hasWithin(after, tag) && !value.integer(output, tag))
            return false;
        ++tag;
    }
    return value.isWholeUpTo(after);
}

} // namespace

extern "C" {

int ldap_create_sstatus_control(LDAP *ld, int *statusFlags, int isCritical, LDAPControl **ctrlp) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    if (statusFlags == nullptr || ctrlp == nullptr)
        return storeResult(ld, LDAP_PARAM_ERROR);
    return storeResult(
        ld, createControl(ld, statusOid, isCritical, ctrlp, [statusFlags](BerElement *value) {
            return encodeFlags(value, statusFlags);
        }));
}

int ldap_parse_sstatus_control(LDAP *ld, LDAPControl **ctrls, int *status0, int *status1,
                               int *status2, int *status3) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    return storeResult(ld, parseControl(ctrls, statusOid, [&](Decoder &value) {
                           return readStatus(value, {status0, status1, status2, status3});
                       }));
}
}
