#include "system/sweep_commands.h"

#include "system/operations.h"

#include <stdexcept>

namespace test {
namespace {

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";

constexpr const char *records = "dn: ou=swept,dc=example,dc=com\n"
                                "objectClass: organizationalUnit\nou: swept\n\n"
                                "dn: ou=inner,ou=swept,dc=example,dc=com\n"
                                "objectClass: organizationalUnit\nou: inner\n\n";

constexpr const char *definitions =
    "dn: cn=schema\nobjectClass: subschema\n"
    "attributeTypes: ( 1.3.6.1.4.1.32473.1.1 NAME 'badge' "
    "SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
    "objectClasses: ( 1.3.6.1.4.1.32473.2.1 NAME 'badged' AUXILIARY MAY badge )\n";

constexpr const char *event =
    R"({"kind":114,"type":1000,"payload":{"number1":1,"string1":"first"}})"
    "\n";

// That the operations of operations.h do not cover.
const std::vector<SweptCommand> &others() {
    static const std::vector<SweptCommand> all = {
        {"search", {}, {"search", "-b", "dc=example,dc=com"}},
        {"search --json", {}, {"search", "-b", "dc=example,dc=com", "--json"}},
        {"search --follow",
         {},
         {"search", "-b", "ou=people,dc=example,dc=com", "--follow", "--existing", "--count", "3"}},
        {"events watch", {}, {"events", "watch", "--type", "1000", "--count", "1"}},
        {"events watch --json",
         {},
         {"events", "watch", "--type", "1000", "--count", "1", "--json"}},
        {"rights", {}, {"rights", ada, "cn", "mail"}},
        {"reference", {}, {"reference", ada}},
        {"status", {}, {"status"}},
        {"whoami --as", {}, {"whoami", "--as", ada}},
        {"backup", {}, {"backup", ada, "-o", "@new.backup"}},
        {"restore", {{"backup", ada, "-o", "@ada.backup"}}, {"restore", ada, "@ada.backup"}},
        {"restore --check",
         {{"backup", ada, "-o", "@ada.backup"}},
         {"restore", "--check", "@ada.backup"},
         false},
        {"load", {}, {"load", "@f.ldif"}},
        {"load --json", {}, {"load", "@f.ldif", "--json", "--batch", "1"}},
        {"load --fallback", {}, {"load", "@f.ldif", "--rename", "bulk", "--fallback"}},
        {"load --dry-run", {}, {"load", "@f.ldif", "--dry-run"}, false},
        {"schema list", {}, {"schema", "list"}},
        {"schema list --file", {}, {"schema", "list", "--file", "@s.ldif"}, false},
        {"schema show", {}, {"schema", "show", "person"}},
        {"schema get", {}, {"schema", "get", "person"}},
        {"schema get --json", {}, {"schema", "get", "person", "--json"}},
        {"schema export", {}, {"schema", "export"}},
        {"schema export FILE", {}, {"schema", "export", "@exported.ldif"}},
        {"schema diff", {}, {"schema", "diff", "@s.ldif"}},
        {"schema graph", {}, {"schema", "graph", "person"}},
        {"schema add", {}, {"schema", "add", "--file", "@s.ldif"}},
        {"schema modify", {}, {"schema", "modify", "person", "DESC=somebody", "--dry-run"}},
        {"schema delete",
         {{"schema", "add", "--file", "@s.ldif"}},
         {"schema", "delete", "badged", "badge"}},
        {"bind by DIGEST-MD5", {}, {"whoami", "-Y", "DIGEST-MD5", "-U", adminDn}},
        {"help", {}, {"--help"}, false},
        {"help of a command", {}, {"load", "--help"}, false},
        {"version", {}, {"--version"}, false},
        {"completion", {}, {"completion", "bash"}, false},
    };
    return all;
}

} // namespace

std::vector<SweptCommand> sweptCommands() {
    std::vector<SweptCommand> all = others();
    for (const Operation &operation : operations())
        all.push_back({operation.name, operation.before, operation.arguments});
    return all;
}

Workplace::Workplace(const std::string &tool, const Arguments &server)
    : tool_(tool), simulator_([&] {
          Arguments all = {"--replay", folder_.write("events", event)};
          all.insert(all.end(), server.begin(), server.end());
          return all;
      }()) {
    static_cast<void>(folder_.write("f.ldif", records));
    static_cast<void>(folder_.write("s.ldif", definitions));
}

Arguments Workplace::line(const Arguments &arguments, const std::string &uri) const {
    Arguments all = {"-H", uri.empty() ? simulator_.uri() : uri, "-w", adminPassword};
    bool bindsSimply = true;
    for (const std::string &argument : arguments) {
        all.push_back(argument.starts_with('@') ? path(argument.substr(1)) : argument);
        bindsSimply = bindsSimply && argument != "-Y";
    }
    if (bindsSimply)
        all.insert(all.begin(), {"-D", adminDn});
    return all;
}

Result Workplace::run(const Arguments &arguments) const {
    return Process(tool_, line(arguments), {leakRules(arguments), {}, {}}).wait();
}

// An entry that is restored has to be gone.
void Workplace::prepare(const SweptCommand &command) const {
    for (const Arguments &before : command.before)
        if (const Result result = run(before); result.status != 0)
            throw std::runtime_error(command.name + ": " + result.err);
    if (command.name == "restore")
        simulator_.change(std::string("dn: ") + ada + "\nchangetype: delete\n");
}

} // namespace test
