#include "system/sweep.h"

#include <CLI/CLI.hpp>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>

namespace {

using namespace test;

struct Part {
    const char *name;
    void (*run)(Sweep &);
};

constexpr std::array parts = {
    Part{"disks", sweepDisks},
    Part{"outputs", sweepOutputs},
    Part{"signals", sweepSignals},
    Part{"servers", sweepServers},
};

bool sweepAll(const std::vector<std::string> &names, const SweepOptions &options) {
    bool inOrder = true;
    for (const Part &part : parts)
        if (names.empty() || std::find(names.begin(), names.end(), part.name) != names.end()) {
            Sweep sweep(part.name, options);
            part.run(sweep);
            inOrder = sweep.finish() && inOrder;
        }
    return inOrder;
}

} // namespace

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App app("Tries qldapx with full disks, closed outputs, signals and hostile servers");
    SweepOptions options;
    options.tool = QLDAPX_PATH;
    std::vector<std::string> names;
    app.add_option("PART", names, "disks, outputs, signals, servers; without one, all")
        ->check(CLI::IsMember({"disks", "outputs", "signals", "servers"}));
    const auto every = app.add_option("--every", options.every, "Try one case of so many")
                           ->check(CLI::PositiveNumber);
    app.add_option("--seed", options.seed, "Which ones, and what hostile servers send");
    app.add_option("--rounds", options.rounds, "Hostile answers for each command");
    const auto shares =
        app.add_option("--shares", options.shares, "Processes that divide the cases")
            ->excludes(every)
            ->check(CLI::PositiveNumber);
    app.add_option("--share", options.share, "Which of them this is, from 1")
        ->needs(shares)
        ->check(CLI::PositiveNumber);
    app.add_option("--tool", options.tool, "Another qldapx");
    app.add_flag("--list", options.lists, "Print each case");
    CLI11_PARSE(app, argc, argv);
    try {
        return sweepAll(names, options) ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tool_sweep: %s\n", error.what());
        return 2;
    }
}
