#include "events/event.h"

namespace qldapx {

// The library leaves the first referral's value to its caller.
void FreeRecord::operator()(void *record) const {
    eachField(record, [](const LDAPXEventField &field) {
        const bool any = field.type == LDAPX_EVENT_REFERRALS && field.count > 0;
        if (any && valueOf<ReferralEntry *>(field) != nullptr)
            ldapx_memfree(valueOf<ReferralEntry *>(field)->value);
    });
    ldap_event_free(record);
}

int readEvent(LDAP *ld, LDAPMessage *message, Event &event) {
    void *record = nullptr, *address = nullptr;
    const int code =
        ldap_parse_ds_event_IP(ld, message, &event.type, &event.result, &record, 0, &address);
    event.record.reset(record);
    event.address.reset(address);
    event.time = std::chrono::system_clock::now();
    return code;
}

std::string rawNotification(LDAP *ld, LDAPMessage *message) {
    berval *value = nullptr;
    if (ldap_parse_intermediate(ld, message, nullptr, &value, nullptr, 0) != LDAP_SUCCESS ||
        value == nullptr)
        return {};
    const std::unique_ptr<berval, decltype(&ber_bvfree)> owner(value, ber_bvfree);
    return {value->bv_val, value->bv_len};
}

} // namespace qldapx
