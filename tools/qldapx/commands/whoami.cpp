#include "identity.h"
#include "operation.h"
#include "text.h"

namespace qldapx {

std::string boundIdentity(Run &run) {
    return std::string(performed(run, {}, identity::bind_dn));
}

void addWhoami(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "whoami", "Say as whom the server sees this session",
                   {"whoami", "whoami --as 'cn=Ada Brandt,ou=people,dc=example,dc=com'"});
    command.footer(command.get_footer() + "\nqldapx whoami -H ldap://127.0.0.1:1389 "
                                          "-Y DIGEST-MD5 -U admin -w secret");
    command.callback([&tool] {
        tool.action = [](Run &run) {
            const std::string dn = boundIdentity(run);
            if (run.out.isJson())
                run.out.json({{"dn", dn}});
            else
                run.out.line(dn.empty() ? "anonymous" : printable(dn));
        };
    });
}

} // namespace qldapx
