#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stratasim::schema {

enum class Rule { CaseIgnore, Exact, Telephone, Integer, Dn };

/**
 * The key under which values of an attribute description are kept: the primary name of its type
 * in lower case, whichever name or OID was used, followed by its options. Types that the schema
 * does not list are taken as they are; empty when the text is no attribute description at all.
 */
std::string keyOf(std::string_view description);

/** True when a value stored under `key` belongs to a request for `wanted` (options are subtypes).
 */
bool isSubtype(std::string_view key, std::string_view wanted);

Rule ruleOf(std::string_view key);
bool isOperational(std::string_view key);
/** Kept by the server itself: clients may not write it. */
bool isReadOnly(std::string_view key);
bool isSingleValued(std::string_view key);

/** RFC 4512 descriptions, for the subschema entry. */
std::vector<std::string> attributeTypes();
std::vector<std::string> objectClasses();
/** Names of the attributes of an object class and its superiors; none when it is not known. */
std::vector<std::string> attributesOfClass(std::string_view name);

inline constexpr std::string_view kPassword = "userpassword";

} // namespace stratasim::schema
