// schema_samples.h - schemas as servers send them, and what fuzzing them begins with.
#pragma once

#include "support/ber.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

using Descriptions = std::initializer_list<std::pair<const char *, const char *>>;

// SearchResultEntry with a value of an attribute for each pair.
Bytes schemaEntry(Descriptions descriptions);
// A few elements of each kind.
Bytes sampleSchema();
// ModifyResponse with success.
Bytes modifyResponse();

} // namespace qldapx_fuzz
