#pragma once

#include <string>

namespace qldapx {

/** A NetAddrEventData for people: such as "127.0.0.1:389", or its type and its bytes. */
std::string addressText(const void *record);

} // namespace qldapx
