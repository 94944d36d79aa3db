#pragma once

#include "command.h"

namespace qldapx {

struct EditOptions {
    std::string dn;
    bool dryRun = false;
    bool force = false;
};

struct AddOptions : EditOptions {
    std::string kind;
    std::vector<std::string> fields;
    std::vector<std::string> files; // instead of the two above
    bool replace = false;
};
void addToSchema(Run &run, const AddOptions &options);

struct ModifyOptions : EditOptions {
    std::string name;
    std::string kind; // empty: any
    std::vector<std::string> fields;
};
void modifySchema(Run &run, const ModifyOptions &options);

struct DeleteOptions : EditOptions {
    std::vector<std::string> names;
    std::string kind; // empty: any
};
void deleteFromSchema(Run &run, const DeleteOptions &options);

} // namespace qldapx
