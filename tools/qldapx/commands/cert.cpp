#include "command.h"
#include "tls/show.h"

#include <memory>

namespace qldapx {
namespace {

void addShow(CLI::App &group, Tool &tool) {
    CLI::App &command =
        addCommand(group, "show",
                   "Show the certificates that a server presents or a file holds, and whether they "
                   "verify against --cacert or the system's; exits with 1 if they do not",
                   {});
    auto args = std::make_shared<CertificateOptions>();
    command
        .add_option("SOURCE", args->source,
                    "HOST:PORT or ldaps://HOST[:PORT], an IPv6 address in brackets; or a file "
                    "(PEM, DER or PKCS #12)")
        ->required();
    command.add_flag("--pem", args->pem, "Print the certificates as PEM, to be saved");
    command.footer("qldapx cert show 127.0.0.1:1636 --cacert ca.pem\n"
                   "qldapx cert show 127.0.0.1:1636 --cacert ca.pem --pem > chain.pem\n"
                   "qldapx cert show chain.pem --cacert ca.pem");
    command.callback(
        [&tool, args] { tool.action = [args](Run &run) { showCertificates(run, *args); }; });
}

} // namespace

void addCert(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "cert", "Look at certificates of servers and files");
    addShow(group, tool);
}

} // namespace qldapx
