#pragma once

#include "schema/model.h"

namespace stratasim::schema {

// As in a file for --schema: lines of LDIF.
extern const std::string_view kBuiltInRules;
extern const std::string_view kBuiltInTypes;
extern const std::string_view kBuiltInClasses;

/** X-ORIGIN of what no client may change. */
inline constexpr std::string_view kStandardOrigins[] = {"RFC 4512", "RFC 4517", "RFC 4519"};

Model::Elements builtInElements();

} // namespace stratasim::schema
