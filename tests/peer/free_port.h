// free_port.h - ports for servers that are told theirs.
#pragma once

#include <optional>

namespace test {

// A port of the address that the system has just given and taken back; nothing where the system
// does not have the address.
std::optional<int> freePort(const char *address);

} // namespace test
