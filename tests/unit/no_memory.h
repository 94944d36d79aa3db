// no_memory.h - lets each allocation of a call fail in turn.
#pragma once

#include "support/failing_memory.h"
#include "support/scripted_peer.h"

#include <gtest/gtest.h>

namespace qldapx_test {

// Runs the call with its 1st, 2nd, 3rd ... allocation failing, until it asks for no more. A
// failure must show as a local result code, and what the session and the call allocated must be
// released when both have ended.
//
// call(ld) returns the result code; finish(result) checks the outputs and releases them.
template <class Call, class Finish>
void exhaust(const std::vector<ScriptedPeer::Step> &script, Call call, Finish finish) {
    // libldap keeps what it allocates for the first session of a process.
    ScriptedPeer({}).session();
    constexpr long farTooMany = 2000;
    bool failed = true;
    for (long number = 1; failed && number < farTooMany; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        ScriptedPeer peer(script);
        long before = failing_memory::liveBlocks();
        LDAP *ld = peer.session();
        failing_memory::failAllocation(number);
        int result = call(ld);
        failed = failing_memory::disarm();
        finish(result);
        peer.closeSession();
        long after = failing_memory::liveBlocks();
        EXPECT_EQ(after, before);
        EXPECT_TRUE(failed ? result < LDAP_SUCCESS : result == LDAP_SUCCESS) << result;
        EXPECT_TRUE(failed || number > 1);
    }
    EXPECT_FALSE(failed) << "the call never stops allocating";
}

} // namespace qldapx_test
