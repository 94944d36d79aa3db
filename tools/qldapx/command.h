#pragma once

#include "errors.h"
#include "output.h"
#include "session.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qldapx {

/** What a command works with. The session opens when it is first asked for. */
class Run {
  public:
    Run(const CLI::App &root, const CLI::App &command, ConnectionOptions &connection, bool json);

    const CLI::App &root;
    Output out;
    void open();
    /** Ends the session; what needs one opens another. */
    void close() { session_.reset(); }
    /** Ends the session; the next one is with this server. */
    void reach(const std::string &uri) {
        close();
        connection_.uri = uri;
    }
    /** How the command line says to reach the server. */
    [[nodiscard]] const ConnectionOptions &connection() const { return connection_; }
    /** For a command that opens more sessions than one: asks for the password only now. */
    void keepPassword() { qldapx::keepPassword(connection_, out.isJson()); }
    /** From now on no question can be asked on the terminal: something else is shown there. */
    void takeTerminal();
    /** The server's, once the session is open. */
    [[nodiscard]] std::string uri() const { return session_->uri(); }
    /** The command, such as "partition split". */
    [[nodiscard]] const std::string &name() const { return name_; }
    /** Runs one operation of the library; `object` is what it works on. */
    void perform(const std::string &object, const Session::Call &call);
    /** Makes a control that goes with every request from now on. */
    void attach(const Session::NewControl &create);
    /** Says that the operation was done: in a sentence, or as these fields. */
    void done(const std::string &sentence, const Output::Json &fields);
    /** Reports a failure that does not end the command, but decides its exit status. */
    void failed(const Failure &failure);
    /** The same for one that was reported already. */
    void endsInFailure() { exitStatus_ = exitFailed; }
    void endsWith(int status) { exitStatus_ = status; }
    [[nodiscard]] int exitStatus() const { return exitStatus_; }

  private:
    ConnectionOptions &connection_;
    std::string name_;
    std::optional<Session> session_;
    int exitStatus_ = exitDone;
};

using Action = std::function<void(Run &)>;

/** The command line: options of the connection, and what the chosen command does. */
struct Tool {
    ConnectionOptions connection;
    bool json = false;
    Action action;
    int failureStatus = exitFailed; // of a failure that ends the command
};

/** A command that only holds others. */
CLI::App &addGroup(CLI::App &parent, const std::string &name, const std::string &description);

/**
 * A command. Its examples are arguments of qldapx, without the options of the connection, that
 * work in turn against strata-sim's sample.
 */
CLI::App &addCommand(CLI::App &parent, const std::string &name, const std::string &description,
                     const std::vector<std::string> &examples);

/** A command line as it stands in a command's examples. */
std::string exampleLine(const std::string &program, const std::string &arguments);

/** The words that lead to a command, such as "partition split". */
std::string commandPath(const CLI::App &app);

/** The command that the parsed command line names, or the group that it stopped at. */
const CLI::App &chosenCommand(const CLI::App &root);

// The command families, one a file.
void addWhoami(CLI::App &root, Tool &tool);
void addPartition(CLI::App &root, Tool &tool);
void addReplica(CLI::App &root, Tool &tool);
void addFilter(CLI::App &root, Tool &tool);
void addPrivileges(CLI::App &root, Tool &tool);
void addName(CLI::App &root, Tool &tool);
void addSearch(CLI::App &root, Tool &tool);
void addRights(CLI::App &root, Tool &tool);
void addStatus(CLI::App &root, Tool &tool);
void addReference(CLI::App &root, Tool &tool);
void addEvents(CLI::App &root, Tool &tool);
void addBackup(CLI::App &root, Tool &tool);
void addRestore(CLI::App &root, Tool &tool);
void addLoad(CLI::App &root, Tool &tool);
void addSchema(CLI::App &root, Tool &tool);
void addTrigger(CLI::App &root, Tool &tool);
void addRefresh(CLI::App &root, Tool &tool);
void addCert(CLI::App &root, Tool &tool);
void addCompletion(CLI::App &root, Tool &tool);

} // namespace qldapx
