#include "operation.h"
#include "text.h"

#include <memory>

namespace qldapx {
namespace {

/** A conversion by the server. */
struct Conversion {
    const char *name;
    const char *description;
    const char *argument;
    text (*convert)(Run &, const std::string &);
    std::string example;
};

text fromKora(Run &run, const std::string &name) {
    const auto units = utf16(name);
    const std::u16string native(units.begin(), units.end());
    return performed(run, name,
                     [&](session_ref at) { return identity::kora_to_dn(at, native.c_str()); });
}

text fromDns(Run &run, const std::string &name) {
    return performed(run, name, [&](session_ref at) { return identity::dns_to_dn(at, name); });
}

std::vector<Conversion> conversions() {
    return {{"from-kora", "Convert a name in the server's native form to a DN", "Name in kora form",
             fromKora, "name from-kora 'example.com/people/Ada Brandt'"},
            {"from-dns", "Convert a DNS name to a DN", "DNS name", fromDns,
             "name from-dns people.example.com"}};
}

void print(Run &run, const std::string &name, const std::string &dn) {
    if (run.out.isJson())
        run.out.json({{"name", name}, {"dn", dn}});
    else
        run.out.line(printable(dn));
}

} // namespace

void addName(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "name", "Convert names to DNs");
    for (const Conversion &conversion : conversions()) {
        CLI::App &command =
            addCommand(group, conversion.name, conversion.description, {conversion.example});
        auto name = std::make_shared<std::string>();
        command.add_option("NAME", *name, conversion.argument)->required();
        command.callback([&tool, convert = conversion.convert, name] {
            tool.action = [convert, name](Run &run) {
                print(run, *name, std::string(convert(run, *name)));
            };
        });
    }
}

} // namespace qldapx
