#pragma once

#include "schema/model.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim::schema {

using Slot = std::shared_ptr<const Model>;

/**
 * Puts the schema of a directory in force for the functions below, until the end of the scope.
 * Whoever works on a directory's entries has one; without any the built-in schema is in force.
 */
class InForce {
  public:
    /** What the slot holds may change meanwhile. */
    explicit InForce(const Slot &slot);
    ~InForce();
    InForce(const InForce &) = delete;
    InForce &operator=(const InForce &) = delete;

  private:
    const Slot *previous_;
};

/**
 * The key under which values of an attribute description are kept: that of its type, whichever
 * name or OID was used, followed by its options. Types that the schema does not list are taken as
 * they are; empty when the text is no attribute description at all.
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

/** Names of the attributes of an object class and its superiors; none when it is not known. */
std::vector<std::string> attributesOfClass(std::string_view name);

inline constexpr std::string_view kPassword = "userpassword";

} // namespace stratasim::schema
