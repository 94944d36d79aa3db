#include "command.h"

#include <array>
#include <fmt/format.h>
#include <memory>
#include <qldapx.h>

namespace qldapx {
namespace {

struct Process {
    int number;
    const char *name;
    const char *description;
};

constexpr std::array processes = {
    Process{LDAP_BACK_PROCESS_BACKLINK, "backlink", "Start the back-link maintenance"},
    Process{LDAP_BACK_PROCESS_JANITOR, "janitor", "Start the janitor"},
    Process{LDAP_BACK_PROCESS_LIMBER, "limber", "Start the limber process"},
    Process{LDAP_BACK_PROCESS_SKULKER, "skulker", "Start the skulker"},
    Process{LDAP_BACK_PROCESS_SCHEMA_SYNC, "schema-sync", "Start the schema synchronisation"},
    Process{LDAP_BACK_PROCESS_PARTITION_PURGE, "partition-purge", "Start the partition purge"},
};

void start(Run &run, const Process &process, std::optional<std::string> &dn) {
    run.perform(dn.value_or(""), [&](LDAP *ld) {
        return ldap_trigger_back_process(ld, process.number, dn ? dn->data() : nullptr);
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
    if (process.number == LDAP_BACK_PROCESS_LIMBER)
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
