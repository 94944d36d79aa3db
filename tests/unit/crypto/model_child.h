// model_child.h - a part of a test in a process of its own, which has a pool that nobody has used.
#pragma once

#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qldapx_test::pool_model {

// Its failures are this test's.
inline void inChild(const std::function<void()> &part) {
    std::fflush(stdout);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        part();
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

} // namespace qldapx_test::pool_model
