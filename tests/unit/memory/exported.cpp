#include "memory/exported.h"

#include <dlfcn.h>
#include <fstream>
#include <ldap.h>
#include <stdexcept>

namespace qldapx_test::memory {

const std::set<std::string> &exportedFunctions() {
    static const std::set<std::string> names = [] {
        std::set<std::string> read;
        std::ifstream file(SYMBOLS);
        for (std::string type, name; file >> type >> name;)
            if (type == "function")
                read.insert(name);
        return read;
    }();
    return names;
}

const char *exportedNameIn(const std::string &row) {
    const std::string *longest = nullptr;
    for (const std::string &name : exportedFunctions())
        if (row.compare(0, name.size(), name) == 0)
            longest = &name; // sorted: a longer one comes later
    if (longest == nullptr)
        throw std::runtime_error(row + " names no exported function");
    return longest->c_str();
}

namespace {

void *require(void *library, const char *function) {
    void *found = library != nullptr ? dlsym(library, function) : nullptr;
    if (found == nullptr)
        throw std::runtime_error(std::string("there is no function ") + function);
    return found;
}

} // namespace

void *inLibrary(const char *function) {
    static void *const library = dlopen("libqldapx.so.0", RTLD_NOW | RTLD_NOLOAD);
    return require(library, function);
}

void *inLibldap(const char *function) {
    static void *const library = [] {
        Dl_info info = {};
        dladdr(reinterpret_cast<void *>(ldap_get_option), &info);
        return dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    }();
    return require(library, function);
}

} // namespace qldapx_test::memory
