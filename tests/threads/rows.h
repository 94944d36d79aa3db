// rows.h - what threads do at the same time, for a ThreadSanitizer to look at.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace qldapx_test {

struct Row {
    const char *name;
    unsigned rounds;
    // Each is a thread's, which calls it in every round with the round's number.
    std::vector<std::function<void(unsigned round)>> threads;
    // What they share is made and dropped.
    std::function<void(unsigned rounds)> before = [](unsigned) {};
    std::function<void()> after = [] {};
};

std::span<const Row> sessionRows();
std::span<const Row> sharedSessionRows();
std::span<const Row> schemaRows();
std::span<const Row> processRows();
std::span<const Row> tlsRows();

// Ends the program, with a message, when it does not hold.
void require(bool holds, const std::string &what);

} // namespace qldapx_test
