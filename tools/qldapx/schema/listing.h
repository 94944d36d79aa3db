#pragma once

#include "schema/source.h"

namespace qldapx {

struct ListOptions : SourceOptions {
    std::vector<std::string> kinds; // none: all
    std::string like;               // a shell's pattern; empty: all
};
void listSchema(Run &run, const ListOptions &options);

} // namespace qldapx
