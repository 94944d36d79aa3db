#include "commands/schema.h"

#include "schema/export.h"
#include "schema/listing.h"
#include "schema/show.h"

#include <memory>

namespace qldapx {
namespace {

void addList(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "list", "List schema elements",
                                   {"schema list class", "schema list attribute --like 'tel*'"});
    auto args = std::make_shared<ListOptions>();
    command.add_option("KIND", args->kinds,
                       "attribute, class, syntax, rule, rule-use, name-form, content-rule, "
                       "structure-rule; without one, all");
    command
        .add_option("--like", args->like,
                    "Only those with a name or OID like this, with * ? and [...]")
        ->type_name("PATTERN");
    addSourceOptions(command, *args);
    command.callback([&tool, args] { tool.action = [args](Run &run) { listSchema(run, *args); }; });
}

void addKind(CLI::App &command, std::string &kind) {
    command.add_option("--kind", kind, "Only this kind of element, such as class")
        ->type_name("KIND");
}

void addShow(CLI::App &group, Tool &tool) {
    CLI::App &command =
        addCommand(group, "show", "Show elements with what they inherit and who uses them",
                   {"schema show cn", "schema show inetOrgPerson --kind class"});
    auto args = std::make_shared<ShowOptions>();
    command.add_option("NAME", args->name, "Name or OID of the element")->required();
    addKind(command, args->kind);
    addSourceOptions(command, *args);
    command.callback(
        [&tool, args] { tool.action = [args](Run &run) { showElements(run, *args); }; });
}

void addGet(CLI::App &group, Tool &tool) {
    CLI::App &command =
        addCommand(group, "get", "Print an element's description or fields, for scripts",
                   {"schema get cn", "schema get person MUST"});
    auto args = std::make_shared<ShowOptions>();
    command.add_option("NAME", args->name, "Name or OID of the element")->required();
    command.add_option("FIELD", args->fields,
                       "Keyword of a field, such as SYNTAX; without one, the description");
    addKind(command, args->kind);
    addSourceOptions(command, *args);
    command.callback([&tool, args] { tool.action = [args](Run &run) { getFields(run, *args); }; });
}

void addExport(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "export", "Write the schema as LDIF, or as JSON",
                                   {"schema export schema.ldif", "schema export --kind class"});
    auto args = std::make_shared<ExportOptions>();
    command.add_option("FILE", args->file, "Where to; without it, standard output");
    command.add_option("--kind", args->kinds, "Only these kinds, such as attribute,class")
        ->type_name("KIND,KIND")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_flag("--force", args->replace, "Replace a file that is there");
    addSourceOptions(command, *args);
    command.callback(
        [&tool, args] { tool.action = [args](Run &run) { exportSchema(run, *args); }; });
}

} // namespace

void addSchemaReading(CLI::App &group, Tool &tool) {
    addList(group, tool);
    addShow(group, tool);
    addGet(group, tool);
    addExport(group, tool);
}

void addSchema(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "schema", "Look at, compare, draw and change the schema");
    addSchemaReading(group, tool);
    addSchemaDiff(group, tool);
    addSchemaGraph(group, tool);
    addSchemaEditing(group, tool);
}

} // namespace qldapx
