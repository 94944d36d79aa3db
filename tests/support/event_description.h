// event_description.h - the records of events as text.
#pragma once

#include <string>

namespace qldapx_test {

// Each member by its own name: "string1=one number1=1".
std::string describeRecord(unsigned kind, const void *record);

} // namespace qldapx_test
