#pragma once

#include <string>

namespace qldapx {

/** The same JSON, in which whatever could steer a terminal is escaped. */
std::string harmlessJson(std::string json);

} // namespace qldapx
