#pragma once

#include "command.h"
#include "load/options.h"

namespace qldapx {

/** Loads a file as the options say, and prints the summary. */
void load(Run &run, const LoadOptions &options);

/** Looks at every record of a file, without a server. */
void checkFile(Run &run, const LoadOptions &options);

} // namespace qldapx
