#include "commands/schema.h"

#include "schema/diff.h"

#include <memory>

namespace qldapx {

void addSchemaDiff(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "diff", "Compare schemas; exits with 1 if they differ",
                                   {"schema export before.ldif", "schema diff before.ldif"});
    auto args = std::make_shared<DiffOptions>();
    command
        .add_option("FIRST", args->first,
                    "Files with commas between them, or a server's ldap:// URL; without SECOND, "
                    "the server of -H is compared to this")
        ->required();
    command.add_option("SECOND", args->second, "What to compare FIRST to");
    command.add_option("--dn", args->dn, "The subschema entry; without it the root DSE names it")
        ->type_name("DN");
    command.add_flag("--extensions", args->extensions, "Compare X-... fields as well");
    command.callback([&tool, args] {
        tool.failureStatus = exitTrouble;
        tool.action = [args](Run &run) { diffSchemas(run, *args); };
    });
}

} // namespace qldapx
