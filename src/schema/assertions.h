// assertions.h - the programming errors in schema access after which the process ends.
#pragma once

#include "core/assertion.h"

namespace qldapx::schema {

consteval Assertion assertion(const char *expression, unsigned line, const char *function) {
    return {expression, "schema_util.c", line, function};
}

// A kind that there is not, inside an element.
inline constexpr Assertion freedKind = assertion("0", 369, "free_element");
inline constexpr Assertion addedKind = assertion("0", 579, "add_element");
inline constexpr Assertion orderedKind = assertion("0", 671, "compare_oid");
inline constexpr Assertion soughtKind = assertion("0", 733, "compare_key_to_oid");
inline constexpr Assertion listedKind = assertion("0", 1098, "ldap_schema_get_field_names");
inline constexpr Assertion readKind = assertion("0", 1438, "ldap_schema_get_field_values");
inline constexpr Assertion writtenKind = assertion("0", 1881, "ldap_schema_element_to_string");
inline constexpr Assertion copiedKind = assertion("0", 1991, "dup_element");
inline constexpr Assertion changedKind = assertion("0", 2287, "modify_element");

// A changed element that its new key does not find, so that it cannot be taken back.
inline constexpr Assertion lostElement = assertion("0", 1679, "ldap_schema_modify");

} // namespace qldapx::schema
