#include "commands/schema.h"

#include "schema/graph.h"

#include <memory>

namespace qldapx {

void addSchemaGraph(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "graph", "Draw the inheritance of object classes",
                                   {"schema graph -o schema.svg",
                                    "schema graph inetOrgPerson --with attributes -o person.dot"});
    auto args = std::make_shared<GraphOptions>();
    command.add_option("CLASS", args->classes,
                       "Only these classes and all above them; without one, all");
    command
        .add_option("-o", args->file,
                    "Where to, in the format that its suffix says: .svg, .png or .dot; without it, "
                    "standard output")
        ->type_name("FILE");
    command.add_option("--format", args->format, "The format, whatever the suffix")
        ->type_name("dot|svg|png")
        ->check(CLI::IsMember({"dot", "svg", "png"}).description(""));
    command
        .add_option("--with", args->with,
                    "Draw the required attributes of each class, or all; attributes with one CLASS "
                    "draws what an entry of it must and may hold")
        ->type_name("must|attributes|none")
        ->check(CLI::IsMember({"must", "attributes", "none"}).description(""))
        ->capture_default_str();
    command.add_flag("--below", args->below, "With CLASS: all classes below it, too");
    command.add_flag("--force", args->replace, "Replace a file that is there");
    addSourceOptions(command, *args);
    command.callback([&tool, args] { tool.action = [args](Run &run) { drawSchema(run, *args); }; });
}

} // namespace qldapx
