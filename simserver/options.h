#pragma once

#include "directory.h"
#include "events/replay.h"
#include "faults.h"
#include "tls/context.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace stratasim {

/** What the command line asks for. */
struct Options {
    std::string host = "127.0.0.1";
    std::uint16_t port = 1389;
    std::string ldifFile; // empty: the built-in sample
    std::vector<std::string> schemaFiles;
    std::size_t schemaSize = 0;     // generated attribute types
    std::string schemaVerbatimFile; // empty: the schema is shown as it is
    Directory::Administrator administrator;
    std::vector<std::string> saslRealms = {"strata"};
    Faults faults;
    std::size_t maxMessage = 16U * 1024 * 1024;
    std::size_t maxConnections = 4096;
    std::chrono::seconds idleTime{3600}; // 0: for ever
    std::size_t backupPiece = 65536;
    std::size_t eventQueue = 4U * 1024 * 1024;
    LburpSettings lburp;
    ReplaySettings replay;
    tls::Settings tls;
    std::string readyFile;
    bool verbose = false;
};

/**
 * Reads the command line. When the program has nothing more to do - after --help, say, or a
 * mistake - it has said so, and `exitCode` is set.
 */
Options parseOptions(int argc, const char *const *argv, std::optional<int> &exitCode);

} // namespace stratasim
