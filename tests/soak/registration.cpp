#include "registration.h"

namespace soak {
namespace {

constexpr int entryRecord = 97, valueRecord = 98;

timeval asTime(std::chrono::milliseconds patience) {
    return {patience.count() / 1000, patience.count() % 1000 * 1000};
}

void fill(Notice &notice, void *record) {
    if (record == nullptr)
        return;
    const int kind = ldapx_event_kind(record);
    if (kind == entryRecord) {
        const auto *entry = static_cast<EntryEventData *>(record);
        notice.dn = entry->string1 != nullptr ? entry->string1 : "";
        notice.change = entry->number4;
    } else if (kind == valueRecord) {
        const auto *value = static_cast<ValueEventData *>(record);
        notice.dn = value->string1 != nullptr ? value->string1 : "";
        notice.change = value->number0;
    }
}

} // namespace

int Registration::send(const std::vector<int> &types, const std::string &filter) {
    std::vector<EventSpecification> plain;
    std::vector<FilteredEventSpecification> filtered;
    for (const int type : types) {
        plain.push_back({type, 0});
        filtered.push_back({type, 0, arg(filter)});
    }
    const int count = static_cast<int>(types.size());
    return filter.empty() ? ldap_monitor_events(ld_, count, plain.data(), &id_)
                          : ldap_monitor_events_filtered(ld_, count, filtered.data(), &id_);
}

int Registration::begin(const std::vector<int> &types, const std::string &filter,
                        std::chrono::seconds patience) {
    const int code = send(types, filter);
    return code != LDAP_SUCCESS ? code : takeAnswer(patience, types.size());
}

int Registration::takeAnswer(std::chrono::seconds patience, std::size_t types) {
    timeval time = asTime(patience);
    MessagePtr answer;
    const int type = ldap_result(ld_, id_, LDAP_MSG_ONE, &time, out(answer));
    if (type <= 0)
        return type == 0 ? LDAP_TIMEOUT : LDAP_SERVER_DOWN;
    int code = LDAP_OTHER, count = 0;
    TextPtr accepted;
    EventSpecification *events = nullptr;
    const int parsed =
        ldap_parse_monitor_events_response(ld_, answer.get(), &code, nullptr, &count, &events, 0);
    ldapx_memfree(events);
    if (parsed != LDAP_SUCCESS || code != LDAP_SUCCESS)
        return parsed != LDAP_SUCCESS ? parsed : code;
    return static_cast<std::size_t>(count) == types ? LDAP_SUCCESS : LDAP_OTHER;
}

Notice Registration::next(std::chrono::milliseconds patience) {
    timeval time = asTime(patience);
    MessagePtr message;
    const int type = ldap_result(ld_, id_, LDAP_MSG_ONE, &time, out(message));
    if (type == 0)
        return {};
    if (type < 0)
        return {.kind = Notice::ended, .code = LDAP_SERVER_DOWN, .dn = {}};
    return read(message.get());
}

Notice Registration::read(LDAPMessage *message) {
    Notice notice{.kind = Notice::event, .dn = {}};
    if (ldap_msgtype(message) == LDAP_RES_INTERMEDIATE) {
        EventPtr record;
        int result = 0;
        notice.code = ldap_parse_ds_event(ld_, message, &notice.type, &result, out(record), 0);
        fill(notice, record.get());
    } else {
        notice.kind = Notice::ended;
        ldap_parse_result(ld_, message, &notice.code, nullptr, nullptr, nullptr, nullptr, 0);
    }
    return notice;
}

} // namespace soak
