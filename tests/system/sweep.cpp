#include "system/sweep.h"

#include <cstdio>
#include <fmt/format.h>

namespace test {

Sweep::Sweep(std::string name, const SweepOptions &options)
    : name_(std::move(name)), options_(options), state_(options.seed) {}

// A generator of its own: the same numbers everywhere.
std::size_t Sweep::below(std::size_t end) {
    constexpr unsigned long long factor = 6364136223846793005ULL, step = 1442695040888963407ULL;
    state_ = state_ * factor + step;
    return (state_ >> 33U) % end;
}

bool Sweep::isDue() {
    return isOurs() && below(options_.every) == 0;
}

void Sweep::tried(const std::string &what, const Result &result,
                  const std::vector<std::string> &faults) {
    ++cases_;
    if (options_.lists)
        fmt::print("{}: {}: {}\n", name_, what, result.status);
    if (faults.empty())
        return;
    ++faults_;
    fmt::print("FAULT {}: {}\n", name_, what);
    for (const std::string &fault : faults)
        fmt::print("  {}\n", fault);
    fmt::print("  status {}\n  standard output: {:.300}\n  standard error: {:.6000}\n",
               result.status, result.out, result.err);
    std::fflush(stdout);
}

bool Sweep::finish() const {
    fmt::print("{:<8} {:>6} cases, {} faults\n", name_, cases_, faults_);
    std::fflush(stdout);
    return faults_ == 0 && cases_ > 0;
}

} // namespace test
