// verdict.h - what may come of a function when memory runs out.
#pragma once

#include "memory/runner.h"

namespace qldapx_test::memory {

// In the document's words.
std::string verdictOn(const std::string &function, const Record &record);

// What a function did beyond that; "" for nothing. What it may do with a neighbour's functions is
// what those do alone.
std::string excessOf(const std::string &function, const Records &records);

// Whether it is libldap's or OpenSSL's own function.
bool isNeighbour(const std::string &function);
// What a neighbour's function did.
std::string deedsOf(const Record &record);

} // namespace qldapx_test::memory
