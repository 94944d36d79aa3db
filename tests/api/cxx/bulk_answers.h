// bulk_answers.h - what a server answers to a bulk update.
#pragma once

#include "answers.h"

namespace api_test {

namespace bulk = qldapx::bulk;

inline constexpr char arc[] = "2.16.840.1.907341.1.142.100.";

// ExtendedResponse of success with a value.
inline Bytes answered(int number, const std::optional<Bytes> &value = std::nullopt) {
    return extendedResponse(LDAP_SUCCESS, arc + std::to_string(number), value);
}
inline Bytes refusedAs(int number) {
    return refusal(arc + std::to_string(number));
}

// SEQUENCE { operationNumber, SEQUENCE { resultCode, matchedDN, errorMessage } }
inline Bytes failed(int number, int code, const Bytes &message) {
    return sequence(
        {integer(number), sequence({integer(code), octetString("o=m"), octetString(message)})});
}

inline std::string listed(const bulk::failure_list &failures) {
    std::string all = std::to_string(failures.size()) + ":";
    for (const bulk::failure &each : failures)
        all += " " + std::to_string(each.operationNumber) + "/" + std::to_string(each.resultCode) +
               "/" + each.errorMessage;
    return all;
}
inline std::string listed(const qldapx::result<bulk::failure_list> &failures) {
    return failures ? listed(*failures) : describe(failures.error());
}

inline qldapx::message firstStartAnswer(qldapx::session_ref at) {
    return *at.wait(*bulk::request_start(at));
}

} // namespace api_test
