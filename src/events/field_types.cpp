#include "events/field_types.h"

#include "events/debug_items.h"
#include "events/primitives.h"
#include "qldapx/event.h"

namespace qldapx::events {

namespace {

int readIntegerField(BerElement *ber, char *record, const Field &field) {
    return readInteger(ber, &at<std::int32_t>(record, field.offset));
}

int readStringField(BerElement *ber, char *record, const Field &field) {
    return readString(ber, &at<char *>(record, field.offset));
}

int readString5(BerElement *ber, char *record, const Field &field) {
    return readString(ber, &at<char *>(record, field.offset), 0x85);
}

int readUntestedString(BerElement *ber, char *record, const Field &field) {
    static_cast<void>(readString(ber, &at<char *>(record, field.offset)));
    return LDAP_SUCCESS;
}

int readFinalString(BerElement *ber, char *record, const Field &field) {
    ber_len_t length = 0;
    ber_tag_t tag = ber_peek_tag(ber, &length);
    if (tag == LBER_OCTETSTRING)
        return readStringField(ber, record, field);
    if (tag != LBER_DEFAULT)
        ber_skip_tag(ber, &length);
    return LDAP_SUCCESS;
}

void releaseString(char *record, const Field &field) {
    std::free(at<char *>(record, field.offset));
}

int readAnySequence(BerElement *ber, char *record, const Field &field) {
    return parseStringSequence(ber, &at<char **>(record, field.offset));
}

template <ber_tag_t tag>
int readOptionalSequence(BerElement *ber, char *record, const Field &field) {
    return nextTag(ber) == tag ? readAnySequence(ber, record, field) : LDAP_SUCCESS;
}

void releaseSequence(char *record, const Field &field) {
    freeStringSequence(at<char **>(record, field.offset));
}

int readConnectionField(BerElement *ber, char *record, const Field &field) {
    return parseConnectionData(ber, &at<ConnectionInfo *>(record, field.offset));
}

void releaseConnection(char *record, const Field &field) {
    freeConnectionData(at<ConnectionInfo *>(record, field.offset));
}

int readReferrals(BerElement *ber, char *record, const Field &field) {
    return parseReferralList(ber, &at<std::int32_t>(record, field.count),
                             &at<ReferralEntry *>(record, field.offset));
}

void releaseReferrals(char *record, const Field &field) {
    freeReferralList(at<std::int32_t>(record, field.count),
                     at<ReferralEntry *>(record, field.offset));
}

int readNothing(BerElement * /*ber*/, char * /*record*/, const Field & /*field*/) {
    return LDAP_SUCCESS;
}

int readStructure(BerElement *ber, char * /*record*/, const Field & /*field*/) {
    return enter(ber);
}

int readBytes(BerElement *ber, char *record, const Field &field) {
    ber_len_t length = 0;
    int result = readOctets(ber, &at<char *>(record, field.offset), &length, LBER_OCTETSTRING,
                            wrongAddressTag);
    at<std::uint32_t>(record, field.count) = static_cast<std::uint32_t>(length);
    return result;
}

int readOptionalBytes(BerElement *ber, char *record, const Field &field) {
    return nextTag(ber) == LBER_OCTETSTRING ? readBytes(ber, record, field) : LDAP_SUCCESS;
}

int readOptionalInteger(BerElement *ber, char *record, const Field &field) {
    return nextTag(ber) == LBER_INTEGER ? readIntegerField(ber, record, field) : LDAP_SUCCESS;
}

// Elements under one tag, all of which lie within the list's own element.
template <class Read>
int readList(BerElement *ber, ber_tag_t list, ber_tag_t element, unsigned limit, Read read) {
    ber_len_t length = 0;
    if (ber_peek_tag(ber, &length) != list)
        return LDAP_SUCCESS;
    ber_skip_tag(ber, &length);
    ber_len_t after = bytesLeft(ber) - length;
    for (unsigned i = 0; bytesLeft(ber) > after; ++i) {
        if (i == limit || nextTag(ber) != element)
            return LDAP_DECODING_ERROR;
        int result = read(i);
        if (result != LDAP_SUCCESS)
            return result;
    }
    return bytesLeft(ber) == after ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
}

int readNumbers(BerElement *ber, char *record, const Field &field) {
    auto *numbers = &at<std::int32_t>(record, field.offset);
    return readList(ber, 0x86, LBER_INTEGER, field.count,
                    [=](unsigned i) { return readInteger(ber, &numbers[i]); });
}

// One string fewer than there is room for: kept, the record's users take the last NULL for the
// end.
int readStrings(BerElement *ber, char *record, const Field &field) {
    char **strings = &at<char *>(record, field.offset);
    return readList(ber, 0xA7, LBER_OCTETSTRING, field.count - 1U,
                    [=](unsigned i) { return readString(ber, &strings[i]); });
}

void releaseStrings(char *record, const Field &field) {
    for (unsigned i = 0; i < field.count; ++i)
        std::free((&at<char *>(record, field.offset))[i]);
}

// The other strings end the process when their tag is wrong; these do not.
template <ber_len_t shortest>
int readText(BerElement *ber, char *record, const Field &field) {
    berval bytes;
    if (ber_skip_element(ber, &bytes) != LBER_OCTETSTRING || bytes.bv_len < shortest ||
        bytes.bv_len >= field.count)
        return LDAP_DECODING_ERROR;
    std::memcpy(record + field.offset, bytes.bv_val, bytes.bv_len);
    record[field.offset + bytes.bv_len] = '\0';
    return LDAP_SUCCESS;
}

// ChangeConfigParamData: the value's tag must go with the parameter's type.
struct Parameter {
    std::int32_t type;
    ber_tag_t tag;
};
constexpr Parameter parameters[] = {
    {0, 0x85}, // without a value; the element stays unread
    {1, 0x83}, {2, 0x82}, {3, 0x84}, {5, 0x81},
};

std::int32_t parameterType(const char *record) {
    return at<std::int32_t>(record, offsetof(ChangeConfigParamData, paramType));
}

bool isInteger(const char *record) {
    return parameterType(record) == 2 || parameterType(record) == 5;
}

bool isString(const char *record) {
    return parameterType(record) == 1;
}

bool isText(const char *record) {
    return parameterType(record) == 3;
}

int readParameterTag(BerElement *ber, char *record, const Field & /*field*/) {
    ber_tag_t tag = nextTag(ber);
    for (const Parameter &parameter : parameters)
        if (parameter.type == parameterType(record) && parameter.tag == tag)
            return LDAP_SUCCESS;
    return LDAP_DECODING_ERROR;
}

int readParameterInteger(BerElement *ber, char *record, const Field &field) {
    if (!isInteger(record))
        return LDAP_SUCCESS;
    return readInteger(ber, &at<std::int32_t>(record, field.offset), nextTag(ber));
}

template <bool (*holds)(const char *record), ber_tag_t tag>
int readParameterString(BerElement *ber, char *record, const Field &field) {
    if (!holds(record))
        return LDAP_SUCCESS;
    return readString(ber, &at<char *>(record, field.offset), tag);
}

template <bool (*holds)(const char *record)>
void releaseParameter(char *record, const Field &field) {
    if (holds(record))
        releaseString(record, field);
}

} // namespace

const FieldType integer{readIntegerField, nullptr, LDAPX_EVENT_INTEGER};
const FieldType string{readStringField, releaseString, LDAPX_EVENT_STRING};
const FieldType sequence{readAnySequence, releaseSequence, LDAPX_EVENT_SEQUENCE};
const FieldType sequence0{readOptionalSequence<0x80>, releaseSequence, LDAPX_EVENT_SEQUENCE};
const FieldType sequence1{readOptionalSequence<0x81>, releaseSequence, LDAPX_EVENT_SEQUENCE};
const FieldType connection{readConnectionField, releaseConnection, LDAPX_EVENT_CONNECTION};
const FieldType referrals{readReferrals, releaseReferrals, LDAPX_EVENT_REFERRALS};
const FieldType count{readNothing, nullptr, LDAPX_EVENT_INTEGER};
const FieldType structure{readStructure, nullptr, 0};
const FieldType untestedString{readUntestedString, releaseString, LDAPX_EVENT_STRING};
const FieldType finalString{readFinalString, releaseString, LDAPX_EVENT_STRING};
const FieldType string5{readString5, releaseString, LDAPX_EVENT_STRING};
const FieldType optionalBytes{readOptionalBytes, releaseString, LDAPX_EVENT_BYTES};
const FieldType optionalInteger{readOptionalInteger, nullptr, LDAPX_EVENT_INTEGER};
const FieldType optionalNumbers{readNumbers, nullptr, LDAPX_EVENT_INTEGERS};
const FieldType optionalStrings{readStrings, releaseStrings, LDAPX_EVENT_STRINGS};
const FieldType requiredText{readText<1>, nullptr, LDAPX_EVENT_TEXT};
const FieldType text{readText<0>, nullptr, LDAPX_EVENT_TEXT};
const FieldType address{readBytes, releaseString, LDAPX_EVENT_BYTES};
const FieldType parameterTag{readParameterTag, nullptr, 0};
const FieldType parameterInteger{readParameterInteger, nullptr, LDAPX_EVENT_INTEGER, isInteger};
const FieldType parameterText{readParameterString<isText, 0x84>, releaseParameter<isText>,
                              LDAPX_EVENT_STRING, isText};
const FieldType parameterString{readParameterString<isString, 0x83>, releaseParameter<isString>,
                                LDAPX_EVENT_STRING, isString};
const FieldType debugItems{readDebugItems, releaseDebugItems, LDAPX_EVENT_ITEMS};
const FieldType inlineAddress{readNothing, nullptr, LDAPX_EVENT_ADDRESS};

} // namespace qldapx::events
