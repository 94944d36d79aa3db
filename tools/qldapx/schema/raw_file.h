#pragma once

#include "schema/kind.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace qldapx {

/** A description as a file has it. */
struct RawDescription {
    Kind kind;
    std::string text;
    unsigned long line; // from 1
};

/** What is wrong with a file, and where. */
struct FileFault {
    unsigned long line;
    std::string text;
};

struct RawFile {
    std::vector<RawDescription> descriptions;
    std::vector<FileFault> faults;
};

/** Names for OIDs, which later definitions, of other files as well, may use. */
class OidMacros {
  public:
    /** "NAME OID" or "NAME NAME:SUFFIX"; why it cannot be used, empty when it can. */
    std::string define(const std::string &definition);
    /** The description with macros in the places of its key and its syntax replaced. */
    [[nodiscard]] std::string expanded(const std::string &text) const;

  private:
    [[nodiscard]] std::string valueOf(std::string_view word) const;
    std::unordered_map<std::string, std::string> values_;
};

/** Reads LDIF, slapd's configuration or this tool's JSON, whichever it is. */
RawFile parseSchemaFile(std::string_view content, OidMacros &macros);

/** A file's bytes, standard input's for "-"; throws UsageError. */
std::string readWholeFile(const std::string &path);

} // namespace qldapx
