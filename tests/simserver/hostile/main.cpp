#include "hostile/settings.h"

#include <gtest/gtest.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <string_view>

HostileSettings hostileSettings;

namespace {

/** Takes `--name=NUMBER`; false when the argument is something else. */
bool take(std::string_view argument, std::string_view name, std::uint32_t &value) {
    if (!argument.starts_with(name))
        return false;
    argument.remove_prefix(name.size());
    const char *end = argument.data() + argument.size();
    const auto [last, problem] = std::from_chars(argument.data(), end, value);
    return problem == std::errc() && last == end;
}

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    std::signal(SIGPIPE, SIG_IGN);
    for (int i = 1; i < argc; ++i)
        if (!take(argv[i], "--messages=", hostileSettings.messages) &&
            !take(argv[i], "--seed=", hostileSettings.seed)) {
            std::fprintf(stderr, "%s: %s is neither --messages=N nor --seed=S\n", argv[0], argv[i]);
            return 2;
        }
    return RUN_ALL_TESTS();
}
