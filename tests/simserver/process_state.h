#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

/** How many descriptors the process has open. */
inline std::size_t openDescriptors(pid_t pid) {
    std::error_code ignored;
    std::size_t count = 0;
    const std::string directory = "/proc/" + std::to_string(pid) + "/fd";
    for (const auto &entry : std::filesystem::directory_iterator(directory, ignored))
        count += entry.path().empty() ? 0 : 1;
    return count;
}

/** Hundredths of seconds that the process has had of the processor. */
inline long processorTicks(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    std::size_t at = text.rfind(')') + 2;
    for (int fields = 0; fields < 11; ++fields)
        at = text.find(' ', at) + 1;
    return std::stol(text.substr(at)) + std::stol(text.substr(text.find(' ', at)));
}

/** Waits until `condition` holds; false when it does not within that time. */
template <typename Condition>
bool becomes(std::chrono::milliseconds most, const Condition &condition) {
    const auto end = std::chrono::steady_clock::now() + most;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}
