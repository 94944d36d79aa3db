#include "command.h"
#include "identity.h"
#include "text.h"

#include <memory>
#include <qldapx.h>

namespace qldapx {
namespace {

/** A conversion by the server; what it gives is the library's text. */
struct Conversion {
    const char *name;
    const char *description;
    const char *argument;
    char *(*convert)(Run &, std::string &);
    std::string example;
};

char *fromKora(Run &run, std::string &name) {
    const std::vector<unsigned short> units = utf16(name);
    char *dn = nullptr;
    run.perform(name, [&](LDAP *ld) { return ldap_kora_to_ldap(ld, units.data(), &dn); });
    return dn;
}

char *fromDns(Run &run, std::string &name) {
    char *dn = nullptr;
    run.perform(name, [&](LDAP *ld) { return ldap_dns_to_x500_dn(ld, name.data(), &dn); });
    return dn;
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
                print(run, *name, takeText(convert(run, *name)));
            };
        });
    }
}

} // namespace qldapx
