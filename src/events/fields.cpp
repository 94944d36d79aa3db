// fields.cpp - the records' description, for programs.
#include "events/record.h"
#include "qldapx/event.h"

namespace {

using namespace qldapx::events;

bool isField(const Field &field, const char *record) {
    return field.type->published != 0 &&
           (field.type->holds == nullptr || field.type->holds(record));
}

// The field with the smallest offset that is not below `from`; NULL: none.
const Field *fieldFrom(const Record &record, const char *data, int from) {
    const Field *first = nullptr;
    for (const Field &field : record.fields)
        if (isField(field, data) && field.offset >= from &&
            (first == nullptr || field.offset < first->offset))
            first = &field;
    return first;
}

std::uint32_t countOf(const Field &field, const char *record) {
    switch (field.type->published) {
    case LDAPX_EVENT_BYTES:
    case LDAPX_EVENT_ADDRESS:
    case LDAPX_EVENT_REFERRALS:
    case LDAPX_EVENT_ITEMS: {
        auto count = at<std::int32_t>(record, field.count);
        return count < 0 ? 0 : static_cast<std::uint32_t>(count);
    }
    case LDAPX_EVENT_INTEGERS:
    case LDAPX_EVENT_STRINGS:
        return field.count;
    default:
        return 1;
    }
}

} // namespace

extern "C" {

int ldapx_event_kind(const void *eventData) {
    return static_cast<int>(kindOf(eventData));
}

const char *ldapx_event_record_name(int kind) {
    const Record *record = recordOf(static_cast<ber_tag_t>(kind));
    return record == nullptr ? nullptr : record->name;
}

int ldapx_event_field(const void *eventData, int index, LDAPXEventField *field) {
    const Record *record = recordOf(kindOf(eventData));
    if (record == nullptr || index < 0)
        return 0;
    const char *data = static_cast<const char *>(eventData);
    const Field *found = fieldFrom(*record, data, 0);
    for (; found != nullptr && index > 0; --index)
        found = fieldFrom(*record, data, found->offset + 1);
    if (found == nullptr)
        return 0;
    *field = {found->name, found->type->published, countOf(*found, data), data + found->offset};
    return 1;
}
}
