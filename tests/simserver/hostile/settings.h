#pragma once

#include <cstdint>

/** What the command line of the tests asks for. */
struct HostileSettings {
    std::uint32_t messages = 3000; // damaged ones; the tests that need a process take a tenth
    std::uint32_t seed = 1;
};
extern HostileSettings hostileSettings;
