// sequence.cpp - the requests of a bulk update and their answers:
//
// start      2.16.840.1.907341.1.142.100.1  SEQUENCE { updateStyle OCTET STRING }
// response   2.16.840.1.907341.1.142.100.2  SEQUENCE { transactionSize INTEGER }
//
// operations 2.16.840.1.907341.1.142.100.6  SEQUENCE { sequenceNumber INTEGER, operation ... }
// response   2.16.840.1.907341.1.142.100.7  the bare run of the failures, each
//     SEQUENCE { operationNumber INTEGER, SEQUENCE {
//         resultCode INTEGER, matchedDN OCTET STRING, errorMessage OCTET STRING, ... } }
//
// end        2.16.840.1.907341.1.142.100.4  SEQUENCE { sequenceNumber INTEGER }
// response   2.16.840.1.907341.1.142.100.5  no value
#include "core/exchange.h"
#include "core/session.h"
#include "lburp/operation.h"
#include "qldapx/lburp.h"

#include <cstring>

namespace {

using namespace qldapx;

constexpr char startOid[] = "2.16.840.1.907341.1.142.100.1";
constexpr char startResponseOid[] = "2.16.840.1.907341.1.142.100.2";
constexpr char operationOid[] = "2.16.840.1.907341.1.142.100.6";
constexpr char operationResponseOid[] = "2.16.840.1.907341.1.142.100.7";
constexpr char endOid[] = "2.16.840.1.907341.1.142.100.4";
constexpr char endResponseOid[] = "2.16.840.1.907341.1.142.100.5";
constexpr char updateStyleOid[] = "2.16.840.1.907341.1.142.1.4.2";

template <class... Arguments>
int request(LDAP *ld, const char *oid, int encoderOptions, int *msgidp, const char *format,
            Arguments... arguments) {
    Exchange exchange(ld);
    BerElement *encoder = exchange.newEncoder(encoderOptions);
    if (encoder == nullptr)
        return LDAP_NO_MEMORY;
    if (ber_printf(encoder, format, arguments...) == -1)
        return storeResult(ld, LDAP_ENCODING_ERROR);
    return storeResult(ld, exchange.start(oid, msgidp));
}

// A modify DN has no fields for these two, so the server knows it with the new RDN as new superior,
// and with the pointer's low half as the flag.
void putModifyDn(Writer &out, const LBURPOperation &operation) {
    const auto *newRdn = static_cast<char *>(operation.changes);
    bool deletesOldRdn = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(newRdn)) != 0;
    lburp::putModifyDn(out, operation.dn, newRdn, newRdn, deletesOldRdn, operation.controls);
}

// False: there is no such operation.
[[nodiscard]] bool put(Writer &out, const LBURPOperation &operation) {
    auto **list = static_cast<LDAPMod **>(operation.changes);
    switch (static_cast<ber_tag_t>(operation.type)) {
    case LDAP_REQ_ADD:
        lburp::putAdd(out, operation.dn, list, operation.controls);
        return true;
    case LDAP_REQ_DELETE:
        lburp::putDelete(out, operation.dn, operation.controls);
        return true;
    case LDAP_REQ_MODIFY:
        lburp::putModify(out, operation.dn, list, operation.controls);
        return true;
    case LDAP_REQ_MODDN:
        putModifyDn(out, operation);
        return true;
    default:
        return false;
    }
}

int encodeBatch(BerElement *ber, int sequenceNumber, LBURPOperation **operations) {
    Writer out(ber);
    {
        Writer::Element request(out, LBER_SEQUENCE);
        out.integer(sequenceNumber);
        for (; operations != nullptr && *operations != nullptr; ++operations)
            if (!put(out, **operations))
                return out.hasFailed() ? LDAP_ENCODING_ERROR : LDAP_NOT_SUPPORTED;
    }
    return out.finish() ? LDAP_SUCCESS : LDAP_ENCODING_ERROR;
}

// An answer's own part, behind the LDAP result that every answer has.
struct Answer {
    LdapStringPtr oid;
    BervalPtr value;

    [[nodiscard]] bool hasOid(const char *expected) const {
        return std::strcmp(oid.get(), expected) == 0;
    }
};

int take(LDAP *ld, LDAPMessage *message, int *resultCode, char **errorMessage, int freeit,
         Answer &answer) {
    int result =
        ldap_parse_result(ld, message, resultCode, nullptr, errorMessage, nullptr, nullptr, 0);
    if (result == LDAP_SUCCESS)
        result =
            ldap_parse_extended_result(ld, message, Out(answer.oid), Out(answer.value), freeit);
    if (result == LDAP_SUCCESS && answer.oid == nullptr)
        return LDAP_NOT_SUPPORTED;
    return result;
}

int parseStart(const Answer &answer, int *transactionSize) {
    // With a value the OID is not looked at: kept, there are servers whose answer has another.
    if (answer.value == nullptr)
        return answer.hasOid(startResponseOid) ? LDAP_SUCCESS : LDAP_NOT_SUPPORTED;
    Decoder value(*answer.value);
    if (!value)
        return LDAP_NO_MEMORY;
    int size = 0;
    if (!value.enter(LBER_SEQUENCE) || !value.integer(&size))
        return LDAP_DECODING_ERROR;
    if (transactionSize != nullptr)
        *transactionSize = size;
    return LDAP_SUCCESS;
}

// An LDAP result has an ENUMERATED there elsewhere in LDAP.
bool readResultCode(Decoder &value, std::int32_t *code) {
    return value.integer(code) || value.integer(code, LBER_ENUMERATED);
}

// Reads the rest of a failure behind its number, up to where `after` bytes of the value are left.
bool readResult(Decoder &value, ber_len_t after, LBURPOperationFailure &failure) {
    LdapStringPtr matchedDn, message;
    if (!value.enter(LBER_SEQUENCE) || !readResultCode(value, &failure.resultCode) ||
        !value.text(matchedDn) || !value.text(message))
        return false;
    for (berval unknown; value.insideOf(after);)
        if (!value.contents(&unknown))
            return false;
    failure.errorMessage = message.release();
    return true;
}

// The array of failures, with room for one more than it counts.
class Failures {
  public:
    Failures(int *count, LBURPOperationFailure **list) : count_(count), list_(list) {}

    [[nodiscard]] bool grow() {
        auto size = (static_cast<std::size_t>(*count_) + 1) * sizeof(LBURPOperationFailure);
        auto *grown = static_cast<LBURPOperationFailure *>(std::realloc(*list_, size));
        if (grown != nullptr)
            *list_ = grown;
        return grown != nullptr;
    }
    LBURPOperationFailure &next() { return (*list_)[*count_]; }
    [[nodiscard]] bool take() {
        ++*count_;
        return grow();
    }

  private:
    int *count_;
    LBURPOperationFailure **list_;
};

int readFailures(Decoder &value, Failures &failures) {
    while (!value.endOf(0)) {
        ber_len_t after = 0;
        LBURPOperationFailure &failure = failures.next();
        if (!value.enter(LBER_SEQUENCE, &after) || !value.integer(&failure.operationNumber))
            return LDAP_DECODING_ERROR;
        // A number and nothing more ends the list, and does not count: kept.
        if (value.endOf(0))
            break;
        if (!readResult(value, after, failure))
            return LDAP_DECODING_ERROR;
        if (!failures.take())
            return LDAP_NO_MEMORY;
    }
    return LDAP_SUCCESS;
}

int parseOperations(const Answer &answer, int *count, LBURPOperationFailure **list) {
    if (!answer.hasOid(operationResponseOid))
        return LDAP_NOT_SUPPORTED;
    if (answer.value == nullptr)
        return LDAP_SUCCESS;
    if (count == nullptr || list == nullptr)
        return LDAP_PARAM_ERROR;
    Decoder value(*answer.value);
    Failures failures(count, list);
    if (!value || !failures.grow())
        return LDAP_NO_MEMORY;
    return readFailures(value, failures);
}

void clear(int *count, LBURPOperationFailure **failures) {
    if (count != nullptr)
        *count = 0;
    if (failures != nullptr)
        *failures = nullptr;
}

// The strings of a list that is given up are lost: kept, callers may hold them.
int giveUp(int result, int *count, LBURPOperationFailure **failures) {
    if (failures != nullptr)
        std::free(*failures);
    clear(count, failures);
    return result == LDAP_OTHER ? LDAP_SUCCESS : result;
}

} // namespace

extern "C" {

int ldap_lburp_start_request(LDAP *ld, int *msgidp) {
    return request(ld, startOid, 0, msgidp, "{s}", updateStyleOid);
}

int ldap_parse_lburp_start_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                    char **errorMessage, int *transactionSize, int freeit) {
    Answer answer;
    int code = take(ld, result, resultCode, errorMessage, freeit, answer);
    if (code == LDAP_SUCCESS)
        code = parseStart(answer, transactionSize);
    return storeResult(ld, code);
}

int ldap_lburp_operation_request(LDAP *ld, int sequenceNumber, LBURPOperation **operations,
                                 int *msgidp) {
    Exchange exchange(ld);
    BerElement *encoder = exchange.newEncoder();
    if (encoder == nullptr)
        return LDAP_NO_MEMORY;
    int result = encodeBatch(encoder, sequenceNumber, operations);
    if (result == LDAP_SUCCESS)
        result = exchange.start(operationOid, msgidp);
    return storeResult(ld, result);
}

int ldap_parse_lburp_operation_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                        char **errorMessage, int *failureCount,
                                        LBURPOperationFailure **failures, int freeit) {
    clear(failureCount, failures);
    Answer answer;
    int code = take(ld, result, resultCode, errorMessage, freeit, answer);
    if (code == LDAP_SUCCESS)
        code = parseOperations(answer, failureCount, failures);
    if (code != LDAP_SUCCESS)
        code = giveUp(code, failureCount, failures);
    return storeResult(ld, code);
}

int ldap_lburp_end_request(LDAP *ld, int sequenceNumber, int *msgidp) {
    // The one DER request: the server knows its length in a single byte.
    return request(ld, endOid, LBER_USE_DER, msgidp, "{i}", sequenceNumber);
}

int ldap_parse_lburp_end_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                  char **errorMessage, int freeit) {
    Answer answer;
    int code = take(ld, result, resultCode, errorMessage, freeit, answer);
    if (code == LDAP_SUCCESS && !answer.hasOid(endResponseOid))
        code = LDAP_NOT_SUPPORTED;
    return storeResult(ld, code);
}
}
