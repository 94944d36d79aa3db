#pragma once

#include "schema/source.h"

namespace qldapx {

struct ExportOptions : SourceOptions {
    std::string file; // empty: standard output
    std::vector<std::string> kinds;
    bool replace = false;
};
void exportSchema(Run &run, const ExportOptions &options);

/** Writes a file that appears when it is whole; throws Failure. */
void writeNewFile(const Run &run, const std::string &path, bool replace, std::string_view bytes);

/** A line of LDIF for a value, folded, and in base64 when it must be. */
std::string ldifLine(const std::string &name, std::string_view value);

} // namespace qldapx
