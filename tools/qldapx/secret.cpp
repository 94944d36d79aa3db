#include "secret.h"

#include <algorithm>
#include <cstring>
#include <malloc.h>

namespace qldapx {
namespace {

constexpr const char *placeholder = "password";

/** Where the value of -w begins in a bundle of short options such as -xw; npos without one. */
std::size_t passwordOffset(std::string_view argument) {
    constexpr std::string_view flagsBefore = "xWZA";
    if (argument.size() < 2 || argument[0] != '-' || argument[1] == '-')
        return std::string_view::npos;
    const std::size_t option = argument.find_first_not_of(flagsBefore, 1);
    return option != std::string_view::npos && argument[option] == 'w' ? option + 1
                                                                       : std::string_view::npos;
}

std::string takeSecret(char *text, Secret &password) {
    password = Secret(text);
    explicit_bzero(text, std::strlen(text));
    // An empty password stays one: the caller has to see it.
    return password.empty() ? "" : placeholder;
}

} // namespace

Secret &Secret::operator=(Secret &&other) noexcept {
    wipe();
    bytes_ = std::move(other.bytes_);
    return *this;
}

char *Secret::resize(std::size_t size) {
    std::vector<char> next(size);
    std::copy_n(bytes_.begin(), std::min(size, bytes_.size()), next.begin());
    wipe();
    bytes_ = std::move(next);
    return bytes_.data();
}

void Secret::wipe() {
    if (!bytes_.empty())
        explicit_bzero(bytes_.data(), bytes_.size());
    bytes_.clear();
}

void wipeReleasedMemory() {
    constexpr int anything = 0x5a;
    mallopt(M_PERTURB, anything);
}

HiddenArguments hidePasswords(int argc, char **argv, const std::set<std::string> &withValue) {
    HiddenArguments hidden;
    bool options = true;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        options = options && argument != "--";
        const std::size_t offset = options ? passwordOffset(argument) : std::string_view::npos;
        if (offset == std::string_view::npos) {
            hidden.arguments.emplace_back(argument);
            if (options && withValue.contains(hidden.arguments.back()) && i + 1 < argc)
                hidden.arguments.emplace_back(argv[++i]);
            continue;
        }
        hidden.arguments.emplace_back(argument.substr(0, offset));
        if (offset < argument.size())
            hidden.arguments.push_back(takeSecret(argv[i] + offset, hidden.password));
        else if (i + 1 < argc)
            hidden.arguments.push_back(takeSecret(argv[++i], hidden.password));
    }
    return hidden;
}

} // namespace qldapx
