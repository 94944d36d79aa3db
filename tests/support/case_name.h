// case_name.h - a row of a test table names its test.
#pragma once

#include <gtest/gtest.h>
#include <string>

namespace qldapx_test {

template <class Case>
std::string caseName(const testing::TestParamInfo<Case> &info) {
    return info.param.name;
}

} // namespace qldapx_test
