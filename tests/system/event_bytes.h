#pragma once

#include "support/ldap_message.h"

#include <utility>
#include <vector>

// What a server sends to one that monitors events, written by hand.
namespace test {

/** The message id of the first request after the bind. */
constexpr int registrationId = 2;

using qldapx_test::Bytes;

inline Bytes acceptedValue(const std::vector<std::pair<int, int>> &events) {
    using namespace qldapx_test;
    Bytes list;
    for (const auto &[type, result] : events)
        list += sequence({integer(type), tlv(0x0a, Bytes(1, static_cast<char>(result)))});
    return sequence({integer(static_cast<int>(events.size())), tlv(0x31, list)});
}

/** The answer to a registration. */
inline Bytes accepted(const std::vector<std::pair<int, int>> &events = {{7, 0}}) {
    return qldapx_test::ldapMessage(
        registrationId,
        qldapx_test::extendedResponse(0, "2.16.840.1.907341.1.27.100.80", acceptedValue(events)));
}

/** The registration's end, with words: resultCode, matchedDN, diagnosticMessage. */
inline Bytes registrationEnd(int code, const std::string &words) {
    using namespace qldapx_test;
    return ldapMessage(registrationId, tlv(0x78, join({tlv(0x0a, Bytes(1, static_cast<char>(code))),
                                                       octetString(""), octetString(words)})));
}

/** An intermediate response with this value. */
inline Bytes notification(const Bytes &value) {
    using namespace qldapx_test;
    return ldapMessage(registrationId,
                       tlv(0x79, tlv(0x80, "2.16.840.1.907341.1.27.100.81") + tlv(0x81, value)));
}

/** An event of kind 114: number1, number2, string1. */
inline Bytes event(int type, const Bytes &text, int result = 0) {
    using namespace qldapx_test;
    return notification(sequence({integer(type), integer(result),
                                  tlv(0x72, join({integer(1), integer(2), octetString(text)}))}));
}

} // namespace test
