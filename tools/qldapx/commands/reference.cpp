#include "base_search.h"
#include "errors.h"
#include "identity.h"
#include "text.h"

#include <qldapx.h>

namespace qldapx {
namespace {

void show(Run &run, const std::string &dn) {
    run.attach([](LDAP *ld, LDAPControl **control) {
        return ldap_create_reference_control(ld, 1, control);
    });
    std::optional<std::string> reference;
    searchForControls(run, dn, [&](LDAP *ld, LDAPControl **controls) {
        char *text = nullptr;
        const int code =
            ldap_parse_reference_control(ld, controls, nullptr, 0, nullptr, 0, nullptr, &text);
        if (text != nullptr)
            reference = takeLdapText(text);
        return code;
    });
    if (!reference)
        throw Failure(
            {"reference", dn, {}, {}, "the server's answer has no reference", {}, {}, {}});
    if (run.out.isJson())
        run.out.json({{"dn", dn}, {"reference", *reference}});
    else
        run.out.line(printable(*reference));
}

} // namespace

void addReference(CLI::App &root, Tool &tool) {
    CLI::App &command = addCommand(root, "reference", "Print the server's reference to an entry",
                                   {"reference 'cn=Ada Brandt,ou=people,dc=example,dc=com'"});
    auto dn = std::make_shared<std::string>();
    command.add_option("DN", *dn, "DN of the entry")->required();
    command.callback([&tool, dn] { tool.action = [dn](Run &run) { show(run, *dn); }; });
}

} // namespace qldapx
