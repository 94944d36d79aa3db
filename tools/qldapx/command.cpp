#include "command.h"

namespace qldapx {
namespace {

constexpr const char *sampleConnection =
    " -H ldap://127.0.0.1:1389 -D cn=admin,dc=example,dc=com -w secret";

CLI::App &addApp(CLI::App &parent, const std::string &name, const std::string &description) {
    CLI::App *app = parent.add_subcommand(name, description);
    app->set_help_flag("-h,--help", "Show this help");
    // The options of the connection are the root's and may stand anywhere.
    app->fallthrough();
    return *app;
}

} // namespace

Run::Run(const CLI::App &rootApp, const CLI::App &command, ConnectionOptions &connection, bool json)
    : root(rootApp), out(json), connection_(connection), name_(commandPath(command)) {}

void Run::open() {
    if (!session_)
        session_.emplace(connection_, out.isJson());
}

// What has to be asked is asked before.
void Run::takeTerminal() {
    prepareEncryption(connection_, out.isJson());
    connection_.mayAsk = false;
}

void Run::perform(const std::string &object, const Session::Call &call) {
    open();
    session_->perform(name_, object, call);
}

void Run::attach(const Session::NewControl &create) {
    open();
    session_->attach(name_, create);
}

void Run::done(const std::string &sentence, const Output::Json &fields) {
    Output::Json all = {{"operation", name_}};
    if (!fields.is_null())
        all.update(fields);
    out.done(sentence, all);
}

void Run::failed(const Failure &failure) {
    out.flush();
    report(failure.problem(), out.isJson());
    exitStatus_ = exitFailed;
}

CLI::App &addGroup(CLI::App &parent, const std::string &name, const std::string &description) {
    return addApp(parent, name, description);
}

CLI::App &addCommand(CLI::App &parent, const std::string &name, const std::string &description,
                     const std::vector<std::string> &examples) {
    CLI::App &command = addApp(parent, name, description);
    std::string footer;
    for (const std::string &example : examples)
        footer += (footer.empty() ? "" : "\n") + exampleLine("qldapx", example);
    command.footer(footer);
    return command;
}

std::string exampleLine(const std::string &program, const std::string &arguments) {
    return program + " " + arguments + sampleConnection;
}

std::string commandPath(const CLI::App &app) {
    if (app.get_parent() == nullptr || app.get_parent()->get_parent() == nullptr)
        return app.get_name();
    return commandPath(*app.get_parent()) + " " + app.get_name();
}

const CLI::App &chosenCommand(const CLI::App &root) {
    const CLI::App *app = &root;
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    return *app;
}

} // namespace qldapx
