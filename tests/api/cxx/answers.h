// answers.h - what a server answers, and results and errors as text.
#pragma once

#include "support/case_name.h"
#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <gtest/gtest.h>
#include <qldapx.hpp>

namespace api_test {

using namespace qldapx_test;

// "32|text|o=m": an error's code, message and matched DN.
inline std::string describe(const qldapx::error &why) {
    return std::to_string(why.code()) + "|" + std::string(why.message()) + "|" +
           std::string(why.matched_dn());
}

inline std::string describe(int number) {
    return std::to_string(number);
}
inline std::string describe(qldapx::cstring text) {
    return std::string(text);
}
inline std::string describe(const qldapx::text_list_ref &list) {
    std::string all;
    for (qldapx::cstring each : list)
        all += describe(each) + ",";
    return all;
}

inline std::string describe(const ReplicaInfo &info) {
    std::string all;
    for (int number : {info.number1, info.number2, info.number3, info.number4, info.number5})
        all += std::to_string(number) + ",";
    return all + info.dn + "," + std::to_string(info.number6) + "," + std::to_string(info.number7);
}

inline std::string describe(const qldapx::result<void> &result) {
    return result ? "done" : describe(result.error());
}
template <class T>
std::string describe(const qldapx::result<T> &result) {
    return result ? describe(*result) : describe(result.error());
}

// LDAPResult with texts, under the tag of its response.
inline Bytes spoken(unsigned char tag, int code, const Bytes &more = {}) {
    return tlv(tag, join({tlv(0x0a, Bytes(1, static_cast<char>(code))), octetString("o=m"),
                          octetString("said"), more}));
}
// A refusal of an extended operation, and how it reads.
inline Bytes refusal(const std::string &oid = "1.2.3") {
    return spoken(0x78, LDAP_NO_SUCH_OBJECT, tlv(0x8a, oid));
}
constexpr char refused[] = "32|said|o=m";

// A session of the peer's.
inline qldapx::session_ref borrowed(ScriptedPeer &peer) {
    return qldapx::session_ref(qldapx::borrow, peer.session());
}

} // namespace api_test
