// damage.h - a control's value cut short everywhere, and changed in every bit.
#pragma once

#include "controls/control_list.h"

#include <gtest/gtest.h>

namespace qldapx_test {

// parse(LDAPControl **) gives the result code.
template <class Parse>
void expectMalformedByTruncation(const char *oid, const Bytes &value, Parse parse) {
    for (std::size_t length = 0; length < value.size(); ++length) {
        ControlList controls;
        controls.add(oid, value.substr(0, length));
        EXPECT_EQ(parse(controls.get()), LDAP_DECODING_ERROR) << length;
    }
}

// One flipped bit may give another valid value, but never another code.
template <class Parse>
void expectMalformedByOneBit(const char *oid, const Bytes &value, Parse parse) {
    for (std::size_t bit = 0; bit < 8 * value.size(); ++bit) {
        Bytes damaged = value;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        ControlList controls;
        int result = parse(controls.add(oid, damaged).get());
        EXPECT_TRUE(result == LDAP_SUCCESS || result == LDAP_DECODING_ERROR) << bit;
    }
}

} // namespace qldapx_test
