#include "directory.h"
#include "dispatcher.h"
#include "events/replay.h"
#include "files.h"
#include "ldif.h"
#include "options.h"
#include "output.h"
#include "schema/files.h"
#include "server.h"
#include "subschema.h"

#include <asio.hpp>
#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace {

using namespace stratasim;

void reportAsProgram(const std::string &line) {
    report("strata-sim: " + line);
}

std::int64_t systemTime() {
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

std::ifstream openFile(const std::string &path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(fmt::format("cannot read {}: {}", path, std::strerror(errno)));
    return file;
}

schema::Slot makeSchema(const Options &options) {
    schema::Files files;
    for (const std::string &path : options.schemaFiles) {
        std::ifstream file = openFile(path);
        files.read(file, path);
    }
    std::vector<std::string> warnings;
    const schema::Slot model = schema::load(files, options.schemaSize, warnings);
    for (const std::string &warning : warnings)
        reportAsProgram("warning: " + warning);
    return model;
}

std::unique_ptr<Directory> makeEntries(const Options &options, const schema::Slot &model) {
    if (options.ldifFile.empty())
        return std::make_unique<Directory>(options.administrator, systemTime, model);
    std::ifstream file = openFile(options.ldifFile);
    try {
        return std::make_unique<Directory>(options.administrator, systemTime, file, model);
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(fmt::format("{}: {}", options.ldifFile, error.what()));
    }
}

std::unique_ptr<Directory> makeDirectory(const Options &options) {
    auto directory = makeEntries(options, makeSchema(options));
    const std::string &path = options.schemaVerbatimFile;
    if (path.empty())
        return directory;
    std::ifstream file = openFile(path);
    try {
        showVerbatim(*directory, file);
    } catch (const LdifError &error) {
        throw std::runtime_error(fmt::format("{}: {}", path, error.what()));
    }
    return directory;
}

std::unique_ptr<tls::Context> makeTls(const Options &options) {
    if (options.tls.certificate.empty())
        return nullptr;
    return std::make_unique<tls::Context>(options.tls, options.host);
}

std::unique_ptr<Server> listenAt(asio::io_context &io, const Options &options,
                                 Dispatcher &dispatcher, const tls::Context *tls) {
    Server::Settings settings;
    settings.session.maxMessage = options.maxMessage;
    settings.session.idleTime = options.idleTime;
    if (options.verbose)
        settings.session.log = [](const std::string &line) { report(printable(line)); };
    settings.maxConnections = options.maxConnections;
    settings.report = reportAsProgram;
    try {
        return std::make_unique<Server>(io, options.host, options.port, dispatcher, settings, tls);
    } catch (const asio::system_error &error) {
        throw std::runtime_error(
            fmt::format("cannot listen at {}:{}: {}; choose another address with --listen",
                        options.host, options.port, error.code().message()));
    }
}

/** A reader of our output that has gone, or its full disk, is no reason to end. */
void announce(const Server &server) {
    try {
        fmt::print("strata-sim: listening on {}\n", server.uri());
        finishOutput();
    } catch (const std::runtime_error &error) {
        reportAsProgram(error.what());
    }
}

void serve(const Options &options) {
    const auto directory = makeDirectory(options);
    // A restore has to hold the pieces of what came in one message, and of much more than that.
    constexpr std::size_t restoreMessages = 16;
    directory->archive.pieceBytes = options.backupPiece;
    directory->archive.restoreBytes = options.maxMessage * restoreMessages;
    Dispatcher dispatcher(*directory, options.faults);
    directory->lburp = options.lburp;
    directory->saslRealms = options.saslRealms;
    directory->events.queueBytes = options.eventQueue;
    const auto tls = makeTls(options);
    asio::io_context io(1);
    Replay replay(io, directory->events, options.replay, reportAsProgram);
    asio::signal_set signals(io, SIGINT, SIGTERM);
    const auto server = listenAt(io, options, dispatcher, tls.get());
    if (tls)
        tls->writeFiles(); // only now: those of a server at this address are not to be lost
    signals.async_wait([&](const asio::error_code &, int) {
        replay.stop();
        server->stop();
    });
    server->start();
    announce(*server);
    if (!options.readyFile.empty())
        writeWhole(options.readyFile, server->uri() + '\n');
    io.run();
}

/** Gives the exit code. */
int run(int argc, char **argv) {
    std::optional<int> exitCode;
    const Options options = parseOptions(argc, argv, exitCode);
    if (!exitCode)
        serve(options);
    else
        finishOutput();
    return exitCode.value_or(0);
}

} // namespace

int main(int argc, char **argv) {
    openStandardStreams();
    // What cannot be written is an error that is handled where it comes up.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        reportAsProgram(error.what());
        return 1;
    }
}
