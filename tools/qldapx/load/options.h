#pragma once

#include <optional>
#include <string>

namespace qldapx {

/** What to load and how, as the command line says it. */
struct LoadOptions {
    /** What becomes of an update of which nobody can tell whether it was carried out. */
    enum class Doubtful { Stop, Skip, Send };

    std::string file; // "-" is standard input
    std::optional<int> batch;
    int window = 4;
    std::optional<int> rate;
    std::optional<std::string> rejects;
    std::optional<std::string> checkpoint;
    bool goOn = false;
    bool resume = false;
    bool dryRun = false;
    bool fallback = false;
    bool bulkRenames = false;
    Doubtful doubtful = Doubtful::Stop;

    [[nodiscard]] bool readsStandardInput() const { return file == "-"; }
};

} // namespace qldapx
