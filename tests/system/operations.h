#pragma once

#include "system/process.h"

#include <gtest/gtest.h>
#include <ostream>

namespace test {

/** A command of the tool that asks one operation of the server, and what it gives. */
struct Operation {
    std::string name;              // the operation's, as strata-sim knows it
    std::vector<Arguments> before; // commands that make it possible
    Arguments arguments;
    std::string text; // on success; a time stamp is written TIME
    Json json;        // without time stamps
    enum class Value {
        Ignored,    // whatever the answer carries, it is not read
        Decoded,    // it must be there and understood
        DecodedAny, // the same, and any response OID is accepted
    } value;
};

/** How gtest shows and names a case. */
void PrintTo(const Operation &operation, std::ostream *stream);
std::string operationCase(const testing::TestParamInfo<Operation> &info);

/** Every command that the server is asked by, against the simulator's sample. */
const std::vector<Operation> &operations();

} // namespace test
