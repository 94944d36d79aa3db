#include "commands/schema.h"

#include "schema/edit.h"

#include <memory>

namespace qldapx {
namespace {

void addEditOptions(CLI::App &command, EditOptions &options, const char *force) {
    command.add_flag("--dry-run", options.dryRun,
                     "Print the request as LDIF for ldapmodify, and send nothing");
    command.add_flag("--force", options.force, force);
    command.add_option("--dn", options.dn, "The subschema entry; without it the root DSE names it")
        ->type_name("DN");
}

void addAdd(CLI::App &group, Tool &tool) {
    CLI::App &command =
        addCommand(group, "add", "Add elements, of fields or of files, in one request",
                   {"schema add attribute OID=1.3.6.1.4.1.32473.1.1 NAME=badge 'DESC=its number' "
                    "EQUALITY=caseIgnoreMatch SYNTAX=1.3.6.1.4.1.1466.115.121.1.15{64}",
                    "schema export schema.ldif", "schema add --file schema.ldif"});
    auto args = std::make_shared<AddOptions>();
    command.add_option("KIND", args->kind, "attribute, class, ..., see schema list");
    command.add_option("FIELD", args->fields,
                       "FIELD=VALUE, again for each value of a list; flags, such as SINGLE-VALUE, "
                       "alone");
    command
        .add_option("--file", args->files,
                    "Add all that is in these files: LDIF, slapd's *.schema, JSON; - is standard "
                    "input")
        ->type_name("FILE...");
    command.add_flag("--replace", args->replace,
                     "With --file: change what the server has otherwise");
    addEditOptions(command, *args, "Send it although OIDs or names are there or are odd");
    command.callback(
        [&tool, args] { tool.action = [args](Run &run) { addToSchema(run, *args); }; });
}

void addModify(CLI::App &group, Tool &tool) {
    const std::string badge = "schema add attribute OID=1.3.6.1.4.1.32473.1.1 NAME=badge "
                              "SYNTAX=1.3.6.1.4.1.1466.115.121.1.15";
    CLI::App &command = addCommand(group, "modify", "Change an element's fields",
                                   {badge, "schema modify badge NAME+=tag SINGLE-VALUE "
                                           "'DESC=what a door reads'"});
    auto args = std::make_shared<ModifyOptions>();
    command.add_option("NAME", args->name, "Name or OID of the element")->required();
    command
        .add_option("FIELD", args->fields,
                    "FIELD=VALUE replaces, FIELD+=VALUE and FIELD-=VALUE add to a list and take "
                    "out, FIELD- removes; flags are set by their name alone")
        ->required();
    command.add_option("--kind", args->kind, "Only this kind of element, such as class")
        ->type_name("KIND");
    addEditOptions(command, *args, "Send it although OIDs or names are there or are odd");
    command.callback(
        [&tool, args] { tool.action = [args](Run &run) { modifySchema(run, *args); }; });
}

void addDelete(CLI::App &group, Tool &tool) {
    const std::string badge = "schema add attribute OID=1.3.6.1.4.1.32473.1.1 NAME=badge "
                              "SYNTAX=1.3.6.1.4.1.1466.115.121.1.15";
    CLI::App &command = addCommand(group, "delete", "Delete elements, in one request",
                                   {badge, "schema delete badge"});
    auto args = std::make_shared<DeleteOptions>();
    command.add_option("NAME", args->names, "Names or OIDs of the elements")->required();
    command.add_option("--kind", args->kind, "Only this kind of element, such as class")
        ->type_name("KIND");
    addEditOptions(command, *args, "Send it although others name the element");
    command.callback(
        [&tool, args] { tool.action = [args](Run &run) { deleteFromSchema(run, *args); }; });
}

} // namespace

void addSchemaEditing(CLI::App &group, Tool &tool) {
    addAdd(group, tool);
    addModify(group, tool);
    addDelete(group, tool);
}

} // namespace qldapx
