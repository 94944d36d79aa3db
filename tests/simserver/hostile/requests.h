#pragma once

#include <string>
#include <vector>

/** Operations that the server serves, in one or more forms each; every request that it knows. */
std::vector<std::string> knownOperations();
/** Controls that may come with them; the first one is none. */
std::vector<std::string> knownControls();
