// exchange.h - the frame of an extended operation (RFC 4511, 4.12).
//
// A synchronous wrapper is one row: the operation's two OIDs, the request's ber_printf format with
// its arguments in wire order and, where the answer carries data, how it is read.
#pragma once

#include "core/decoder.h"

namespace qldapx {

struct Operation {
    const char *request;
    // nullptr accepts an answer under any response OID, but not without one.
    const char *response;
    // What counts first when the operation failed: its result, or that the answer has the
    // response OID.
    enum class First { Result, ResponseOid } first = First::Result;
};

// A response that does not decode: callers of the administrative operations test for
// LDAP_ENCODING_ERROR here, so it is that and not LDAP_DECODING_ERROR.
constexpr int malformedResponse = LDAP_ENCODING_ERROR;

class Exchange {
  public:
    explicit Exchange(LDAP *ld) : ld_(ld) {}

    // Sends the operation without a request value.
    [[nodiscard]] int call(const Operation &operation) { return perform(operation, nullptr); }

    // Encodes the arguments with one ber_printf and sends the operation. The value is the bare
    // run of the format's elements: without braces in the format there is no SEQUENCE around.
    template <class... Arguments>
    [[nodiscard]] int call(const Operation &operation, const char *format, Arguments... arguments) {
        BerElement *encoder = newEncoder();
        if (encoder == nullptr)
            return LDAP_NO_MEMORY;
        if (ber_printf(encoder, format, arguments...) == -1)
            return LDAP_ENCODING_ERROR;
        return send(operation);
    }

    // For requests of more than one piece: the encoder to write to (NULL: no memory), then send().
    // Without LBER_USE_DER among the options constructed elements have the lengths of four bytes
    // that the server knows nearly all requests with.
    [[nodiscard]] BerElement *newEncoder(int options = 0);
    [[nodiscard]] int send(const Operation &operation);

    // Sends what was written to the encoder and does not wait: *msgid receives the message id
    // under which ldap_result gives the answer.
    [[nodiscard]] int start(const char *request, int *msgid);

    // After a call that gave `called`: lets read(Decoder &) take the response value and give the
    // result code. A failed call is the result as it stands.
    template <class Read>
    [[nodiscard]] int response(int called, Read read) {
        if (called != LDAP_SUCCESS)
            return called;
        if (responseValue_ == nullptr)
            return LDAP_OPERATIONS_ERROR;
        Decoder decoder(*responseValue_);
        return decoder ? read(decoder) : LDAP_NO_MEMORY;
    }

    [[nodiscard]] ber_len_t responseLength() const {
        return responseValue_ == nullptr ? 0 : responseValue_->bv_len;
    }

  private:
    [[nodiscard]] int perform(const Operation &operation, berval *value);

    LDAP *ld_;
    // Released from the last to the first.
    BerElementPtr encoder_;
    BervalPtr responseValue_;
    LdapStringPtr responseOid_;
};

// Reads a response that is one INTEGER.
inline auto integerInto(int *number) {
    return [number](Decoder &value) {
        return value.integer(number) ? LDAP_SUCCESS : malformedResponse;
    };
}

} // namespace qldapx
