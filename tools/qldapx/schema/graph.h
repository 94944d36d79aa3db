#pragma once

#include "schema/source.h"

namespace qldapx {

struct GraphOptions : SourceOptions {
    std::vector<std::string> classes; // none: all
    std::string file;                 // empty: standard output
    std::string format;               // empty: the file's suffix says
    std::string with = "none";
    bool below = false;
    bool replace = false;
};
void drawSchema(Run &run, const GraphOptions &options);

} // namespace qldapx
