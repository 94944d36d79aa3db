#include "operation.h"

namespace qldapx {

void addRefresh(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "refresh", "Tell the server to refresh itself", {"refresh"});
    command.callback([&tool] {
        tool.action = [](Run &run) {
            performed(run, {}, trigger::refresh_server);
            run.done("server refreshed", {});
        };
    });
}

} // namespace qldapx
