#pragma once

#include "command.h"
#include "schema/model.h"

namespace qldapx {

/** A schema, and where it is from. */
struct Source {
    Model model;
    std::string name;                // of the server or of the files, for titles
    std::string dn;                  // of the subschema entry; a usual one for files
    std::vector<std::string> faults; // FILE:LINE and what is wrong, one a description
};

/** Where to read a schema, as the command line says it. */
struct SourceOptions {
    std::vector<std::string> files; // none: the server
    std::string dn;                 // of the subschema entry; empty: the root DSE's
};

void addSourceOptions(CLI::App &command, SourceOptions &options);

/** Reads them all; what cannot be read of them are faults. Throws UsageError for a missing file. */
Source readFiles(const std::vector<std::string> &paths);

/** Reads the schema; faults are reported, and the command ends in failure. */
Source readSource(Run &run, const SourceOptions &options);

/** The elements of a name or OID; throws Failure when there is none. */
std::vector<const Element *> requireElements(const Run &run, const Source &source,
                                             const std::string &name, std::optional<Kind> kind);
/** The only one; throws UsageError when there are several. */
const Element &requireOne(const Run &run, const Source &source, const std::string &name,
                          const std::string &kindName);

} // namespace qldapx
