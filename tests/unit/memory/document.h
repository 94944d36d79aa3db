// document.h - docs/failing-memory.md: its tables are made of the records.
#pragma once

#include "memory/runner.h"

namespace qldapx_test::memory {

// By function, the last column of its row in the document.
std::map<std::string, std::string> documented();

// Puts the records into the document.
void document(const Records &records);

} // namespace qldapx_test::memory
