#include "operation.h"

#include <array>
#include <fmt/format.h>
#include <memory>

namespace qldapx {
namespace {

struct Process {
    trigger::process which;
    const char *name;
    const char *description;
};

constexpr std::array processes = {
    Process{trigger::process::backlink, "backlink", "Start the back-link maintenance"},
    Process{trigger::process::janitor, "janitor", "Start the janitor"},
    Process{trigger::process::limber, "limber", "Start the limber process"},
    Process{trigger::process::skulker, "skulker", "Start the skulker"},
    Process{trigger::process::schema_sync, "schema-sync", "Start the schema synchronisation"},
    Process{trigger::process::partition_purge, "partition-purge", "Start the partition purge"},
};

void start(Run &run, const Process &process, const std::optional<std::string> &dn) {
    performed(run, dn.value_or(""), [&](session_ref at) {
        return trigger::start(at, process.which, dn ? dn->c_str() : nullptr);
    });
    Output::Json fields = {{"process", process.name}};
    if (dn)
        fields["dn"] = *dn;
    run.done(fmt::format("{} started", process.name), fields);
}

void addProcess(CLI::App &group, Tool &tool, const Process &process) {
    CLI::App &command = addCommand(group, process.name, process.description,
                                   {fmt::format("trigger {}", process.name)});
    auto dn = std::make_shared<std::optional<std::string>>();
    if (process.which == trigger::process::limber)
        command.add_option("--dn", *dn, "What to work on, a choice of the server's")
            ->type_name("DN");
    command.callback([&tool, &process, dn] {
        tool.action = [&process, dn](Run &run) { start(run, process, *dn); };
    });
}

} // namespace

void addTrigger(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "trigger", "Start one of the server's background processes");
    for (const Process &process : processes)
        addProcess(group, tool, process);
}

} // namespace qldapx
