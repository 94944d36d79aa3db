#include "system/signal_cases.h"

#include <algorithm>
#include <netinet/in.h>

namespace test {
namespace {

using Stream = Setting::Stream;

const SignalCase cases[] = {
    {"whoami", {"whoami"}},
    {"whoami of a silent server", {"whoami"}, Server::Silent},
    {"whoami where nobody answers", {"whoami"}, Server::Unreachable},
    {"whoami by TLS", {"whoami", "--cacert", "@ca.pem"}, Server::WithTls},
    {"TLS with a silent server", {"whoami", "--cacert", "@ca.pem"}, Server::Silent},
    {"StartTLS with a silent server", {"whoami", "-ZZ"}, Server::Silent},
    {"cert show", {"cert", "show"}, Server::WithTls},
    {"DIGEST-MD5", {"whoami", "-Y", "DIGEST-MD5", "-U", adminDn}},
    {"question for a realm",
     {"whoami", "-Y", "DIGEST-MD5", "-U", adminDn},
     Server::WithRealms,
     Stream::Terminal},
    {"question for a password", {"whoami", "-W"}, Server::Simulator, Stream::Terminal},
    {"question for the image's password",
     {"backup", ada, "-o", "@a.backup", "--ask-password"},
     Server::Simulator,
     Stream::Terminal,
     true},
    {"backup", {"backup", ada, "-o", "@a.backup"}, Server::Simulator, Stream::Pipe, true},
    {"backup on a terminal",
     {"backup", ada, "-o", "@a.backup", "--force"},
     Server::Simulator,
     Stream::Terminal,
     true},
    {"schema export", {"schema", "export", "@a.ldif"}, Server::Simulator, Stream::Pipe, true},
    {"schema graph to SVG",
     {"schema", "graph", "person", "-o", "@a.svg"},
     Server::Simulator,
     Stream::Pipe,
     true},
    {"schema diff", {"schema", "diff", "@s.ldif"}},
    {"schema add --dry-run", {"schema", "add", "--file", "@s.ldif", "--dry-run"}},
    {"search", {"search", "-b", "dc=example,dc=com"}},
    {"search --follow", {"search", "-b", ada, "--follow", "--existing"}},
    {"events watch", {"events", "watch", "--type", "1000"}},
    {"events watch of a silent server",
     {"events", "watch", "--type", "1000", "--reconnect"},
     Server::Silent},
    {"events watch where nobody answers",
     {"events", "watch", "--type", "1000", "--reconnect"},
     Server::Unreachable},
    {"events top",
     {"events", "top", "--type", "1000", "--for", "0.6"},
     Server::Simulator,
     Stream::Terminal},
    {"load --dry-run", {"load", "@f.ldif", "--dry-run"}},
};

} // namespace

std::span<const SignalCase> signalCases() {
    return cases;
}

// With as many connections as it takes for the next ones to be left unanswered.
void Servers::fill() {
    const std::string &uri = unreachable_.uri();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(uri.substr(uri.rfind(':') + 1))));
    for (int i = 0; i < 4; ++i) {
        waiting_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        static_cast<void>(connect(waiting_.back(), reinterpret_cast<sockaddr *>(&address),
                                  sizeof address)); // or begun
    }
}

std::string Servers::uri(const SignalCase &which) const {
    const bool isTls = std::find(which.arguments.begin(), which.arguments.end(), "--cacert") !=
                       which.arguments.end();
    switch (which.server) {
    case Server::WithTls:
        return withTls_.simulator().uri();
    case Server::WithRealms:
        return withRealms_.simulator().uri();
    case Server::Silent:
        return (isTls ? "ldaps" : "ldap") + silent_.uri().substr(4);
    case Server::Unreachable:
        return unreachable_.uri();
    default:
        return plain.simulator().uri();
    }
}

} // namespace test
