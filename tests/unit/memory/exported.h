// exported.h - the functions that abi/symbols.txt lists.
#pragma once

#include <set>
#include <string>

namespace qldapx_test::memory {

const std::set<std::string> &exportedFunctions();

// The exported function that a row's name begins with.
const char *exportedNameIn(const std::string &row);

// The function of that name in the library itself, where libldap has one of the same name.
void *inLibrary(const char *function);
template <class Function>
Function *ours(Function * /*declared*/, const char *function) {
    return reinterpret_cast<Function *>(inLibrary(function));
}

// And in libldap; what stands before its name in the records.
void *inLibldap(const char *function);
constexpr char libldapAlone[] = "libldap:";

} // namespace qldapx_test::memory
