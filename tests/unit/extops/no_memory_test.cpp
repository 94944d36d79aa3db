// Every administrative operation with memory that runs out at each of its allocations.
#include "no_memory.h"

#include "extops/operations.h"
#include "support/case_name.h"

namespace qldapx_test {
namespace {

class NoMemoryTest : public testing::TestWithParam<OperationCase> {};

TEST_P(NoMemoryTest, NoMemory) {
    const std::vector script{ScriptedPeer::answer(GetParam().response())};
    std::optional<Outputs> out;
    exhaust(
        script,
        [&out](LDAP *ld) {
            out.emplace();
            return GetParam().call(ld, *out);
        },
        [&out](int result) {
            EXPECT_TRUE(result != LDAP_SUCCESS || out->describe(result) == GetParam().output);
            out.reset();
        });
}

INSTANTIATE_TEST_SUITE_P(All, NoMemoryTest,
                         testing::ValuesIn(allOperations().begin(), allOperations().end()),
                         caseName<OperationCase>);

} // namespace
} // namespace qldapx_test
