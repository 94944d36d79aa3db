#pragma once

#include "system/supervised.h"

#include <functional>
#include <string>
#include <vector>

namespace test {

/** How much is tried. */
struct SweepOptions {
    std::string tool;
    std::size_t every = 1; // one case of so many
    unsigned seed = 1;     // which ones, and what hostile servers send
    std::size_t rounds = 1;
    std::size_t share = 1, shares = 1; // of the cases, when several processes divide them
    bool lists = false;                // each case
};

/** Many cases of one sort, of which the faults are kept. */
class Sweep {
  public:
    Sweep(std::string name, const SweepOptions &options);

    [[nodiscard]] const SweepOptions &options() const { return options_; }
    /** Whether the next case is one of those to be tried. */
    bool isDue();
    /** Whether the next of the groups into which a sort divides its cases is this process's. */
    bool isOurs() { return groups_++ % options_.shares + 1 == options_.share; }
    /** A number that the seed decides. */
    std::size_t below(std::size_t end);
    /** A case that was tried, with the reasons why it is a fault; none: it is in order. */
    void tried(const std::string &what, const Result &result,
               const std::vector<std::string> &faults);
    /** Prints the summary; true when there was no fault. */
    [[nodiscard]] bool finish() const;

  private:
    const std::string name_;
    const SweepOptions &options_;
    unsigned long long state_;
    std::size_t cases_ = 0, faults_ = 0, groups_ = 0;
};

/** The reasons why a case is a fault. */
class Faults {
  public:
    Faults &unless(bool isInOrder, const std::string &otherwise) {
        if (!isInOrder)
            all_.push_back(otherwise);
        return *this;
    }
    [[nodiscard]] const std::vector<std::string> &all() const { return all_; }

  private:
    std::vector<std::string> all_;
};

/** Every write, name and end of a file that fails. */
void sweepDisks(Sweep &sweep);
/** Every command with outputs that are closed or full. */
void sweepOutputs(Sweep &sweep);
/** Signals at each call of the long commands. */
void sweepSignals(Sweep &sweep);
/** Every command with a server whose answers are altered. */
void sweepServers(Sweep &sweep);

} // namespace test
