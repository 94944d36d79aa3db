#pragma once

#include "schema/source.h"

namespace qldapx {

struct ShowOptions : SourceOptions {
    std::string name;
    std::string kind;                // empty: any
    std::vector<std::string> fields; // of get
};
/** Everything that there is to say about the elements of a name. */
void showElements(Run &run, const ShowOptions &options);
/** An element's description or fields, as they are, for programs. */
void getFields(Run &run, const ShowOptions &options);

} // namespace qldapx
