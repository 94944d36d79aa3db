#pragma once

#include "in_process.h"

#include <string>
#include <vector>

/** The administrative extended operations, and requests that they accept. */
namespace request_values {

/** Every operation with a request value that it accepts. */
struct Operation {
    int number;
    std::string value; // empty: none
    bool open;         // to anybody
    int response = 0;  // 0: the number after it
};

inline std::vector<Operation> operations() {
    using wire::hex;
    using wire::number;
    using wire::text;
    const std::string dns = text(kServer2) + text(kEmea);
    return {
        {1, text(hex("0045 0000")), true},
        {3, number(0) + text("ou=groups,dc=example,dc=com"), false},
        {5, number(0) + text(kEmea), false},
        {7, number(0) + number(2) + dns, false},
        {9, "", false},
        {11, number(0) + dns, false},
        {13, text(kEmea), true},
        {15, number(0) + number(2) + dns, false},
        {17, dns, true},
        {19, text(kEmea), true},
        {21, text(kEmea) + text(kServer2) + text("x"), false},
        {23, text(kEmea) + text(kServer2), false},
        {25, dns + number(0), false},
        {27, text(kServer2) + number(0), false},
        {29, number(0) + text(kEmea), false},
        {31, "", true},
        {33, text(kAda) + text("") + text("cn"), true},
        {35, text(kServer2) + wire::tlv(0x30, wire::tlv(0x30, text("A") + hex("3000"))), false},
        {37, text(kServer2), false},
        {39, dns, false},
        {41, dns, false},
        {43, "", false},
        {47, "", false},
        {49, text(kServer2), false},
        {51, "", false},
        {53, "", false},
        {55, "", false},
        {79, hex("300d 020101 3108 3006 020101 0a0100"), false, 80},
        {84, hex("3012 020101 310d 300b 020101 0a0100 0403") + "a=b", false, 80},
        {96, text("o=x") + number(0) + number(0) + text("pw"), false},
        {98, text("o=x") + text("pw") + number(1) + text("x") + hex("300a 020101 3105 3003 020101"),
         false},
        {101, text("emea.example.com"), true},
        {103, text(kAda) + text("") + wire::tlv(0x30, text("cn")), true},
    };
}

} // namespace request_values
