// operations.h - the administrative operations, each by the simulator's name.
#pragma once

#include <ldap.h>
#include <string>
#include <vector>

namespace soak {

/** What an operation works on. */
struct Scene {
    LDAP *ld;
    std::string area;  // a partition after the split
    std::string child; // an entry in it
    int entries;       // of the partition
};

/** The operation has succeeded with data that cannot be right. */
constexpr int wrongData = -9999;

struct Operation {
    const char *served; // as strata-sim --list-operations has it
    const char *call;   // the library's function
    int (*run)(Scene &scene);
};

/** In an order in which all of them succeed when the area is no partition. */
const std::vector<Operation> &operations();
/** Those of that name; nullptr if there is none. */
const Operation *operationNamed(const std::string &served);

} // namespace soak
