#pragma once

#include "schema/source.h"

namespace qldapx {

constexpr int exitDifferent = 1;
constexpr int exitTrouble = 2;

struct DiffOptions {
    std::string first;  // files or a URL
    std::string second; // the same; empty: the server is the first, and that the second
    std::string dn;
    bool extensions = false;
};
void diffSchemas(Run &run, const DiffOptions &options);

} // namespace qldapx
