#include "command.h"
#include "reference/reference.h"

#include <string>

namespace qldapx {
namespace {

CLI::App &addScript(CLI::App &group, Tool &tool, const char *name, const char *description,
                    std::string (*script)(const CLI::App &)) {
    CLI::App &command = addCommand(group, name, description, {});
    command.callback(
        [&tool, script] { tool.action = [script](Run &run) { run.out.text(script(run.root)); }; });
    return command;
}

} // namespace

void addCompletion(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "completion", "Print the completion script of a shell");
    addScript(group, tool, "bash", "Print the completion script of bash", bashCompletion)
        .footer("eval \"$(qldapx completion bash)\"");
    // Hidden, for the build: the manual page comes from the command line as well.
    addScript(group, tool, "man", "Print the manual page", manualPage).group("");
}

} // namespace qldapx
