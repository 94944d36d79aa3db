#include "command.h"
#include "errors.h"
#include "interruption.h"
#include "reference/reference.h"
#include "standard_streams.h"
#include "usage.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fmt/format.h>
#include <qldapx.h>

namespace {

using namespace qldapx;

constexpr std::array commandFamilies = {
    addWhoami, addSearch,  addEvents,    addPartition, addReplica,    addFilter, addPrivileges,
    addRights, addName,    addReference, addBackup,    addRestore,    addLoad,   addSchema,
    addStatus, addTrigger, addRefresh,   addCert,      addCompletion,
};

void build(CLI::App &root, Tool &tool) {
    root.set_help_flag("-h,--help", "Show this help; qldapx COMMAND --help says more");
    root.set_version_flag("--version", "qldapx " QLDAPX_VERSION, "Print the version");
    // One at a time, and so in groups too: a later word of a command's name is an argument.
    root.require_subcommand(0, 1);
    addConnectionOptions(root, tool);
    for (const auto add : commandFamilies)
        add(root, tool);
}

int execute(CLI::App &root, Tool &tool, std::vector<std::string> arguments) {
    try {
        parse(root, tool, std::move(arguments));
    } catch (const CLI::CallForHelp &) {
        Output help(false);
        help.text(helpText(chosenCommand(root), help.style()));
        finishOutput();
        return exitDone;
    } catch (const CLI::CallForVersion &version) {
        Output text(false);
        text.line(version.what());
        finishOutput();
        return exitDone;
    }
    Run run(root, chosenCommand(root), tool.connection, tool.json);
    tool.action(run);
    finishOutput();
    return run.exitStatus();
}

/** A reader that has gone ends this program as it ends others: without a word. */
void reportOutput(const OutputError &error, bool json) {
    if (error.error() == EPIPE)
        endBy(SIGPIPE);
    Problem problem;
    problem.operation = "output";
    problem.reason = error.what();
    problem.hint = "make room, or write elsewhere; what the command asks of the server was done";
    report(problem, json);
}

} // namespace

int main(int argc, char **argv) {
    // A server that ends the connection must be an error, not the end of this program.
    std::signal(SIGPIPE, SIG_IGN);
    // A limit of a file's size is an error as a full disk is.
    std::signal(SIGXFSZ, SIG_IGN);
    reserveStandardStreams();
    wipeReleasedMemory();
    bool json = false;
    Tool tool;
    try {
        CLI::App root("Administers a Strata directory server", "qldapx");
        build(root, tool);
        HiddenArguments hidden = hidePasswords(argc, argv, optionsWithValue(root));
        tool.connection.password = std::move(hidden.password);
        json = asksForJson(hidden.arguments);
        return execute(root, tool, std::move(hidden.arguments));
    } catch (const UsageError &error) {
        report(error, json);
        return exitUsage;
    } catch (const Failure &failure) {
        if (Interruption::requested()) // at a question of the bind
            Interruption::endProcess();
        report(failure.problem(), json);
    } catch (const OutputError &error) {
        // What a signal interrupts, and a terminal that has hung up.
        if (Interruption::requested() && (error.error() == EINTR || error.error() == EIO))
            Interruption::endProcess();
        reportOutput(error, json);
    } catch (const std::exception &error) {
        Problem problem;
        problem.operation = "qldapx";
        problem.reason = error.what();
        report(problem, json);
    }
    return tool.failureStatus;
}
