// Which names of a server are accepted, by either TLS. docs/tls.md has this table for users.
#include "openssl_server.h"
#include "support/case_name.h"
#include "tls_client.h"

#include <cstring>
#include <dlfcn.h>
#include <netdb.h>
#include <qldapx/tls.h>
#include <unistd.h>

// libldap asks this for addresses: names of the tests' own are this machine. Exported by the
// program.
extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                           addrinfo **result) {
    static auto *const next =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const char *domain = node != nullptr ? std::strchr(node, '.') : nullptr;
    bool isOurs = domain != nullptr && strcasecmp(domain, ".tls.test") == 0;
    return next(isOurs ? "127.0.0.1" : node, service, hints, result);
}

namespace test {
namespace {

constexpr char machine[] = "<machine>"; // stands for its name
constexpr char accepted[] = "";
constexpr char name[] = "(hostname mismatch)";      // found by the context
constexpr char address[] = "(IP address mismatch)"; // found by the context
constexpr char byLibldap[] = "TLS: hostname does not match";

struct Row {
    const char *name;
    const char *certificate;
    const char *host;
    // Accepted, or why not, where the library does TLS, and where libldap does it with OpenSSL.
    const char *carried, *openSsl;
};

const Row rows[] = {
    {"Localhost", "good", "localhost", accepted, accepted},
    {"Machine", "good", machine, accepted, accepted},
    {"Address", "good", "127.0.0.1", accepted, accepted},
};

bool isCarried() {
    return !libldapHasOpenSsl();
}

std::string hostOf(const Row &row) {
    char own[256] = "";
    gethostname(own, sizeof own - 1);
    return row.host == machine ? own : row.host;
}

TlsAttempt connectTo(const std::string &uri) {
    SessionPtr session = newSession(uri);
    int result = ldap_connect(session.get());
    return {result, diagnosticOf(session.get())};
}

void expectOutcome(const TlsAttempt &given, const char *reason) {
    if (reason != accepted)
        expectRefused(given, reason);
    else
        EXPECT_EQ(given.result, LDAP_SUCCESS) << given.diagnostic;
}

class TlsHostName : public WithTls, public testing::WithParamInterface<Row> {
  protected:
    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
    }
};

TEST_P(TlsHostName, IsChecked) {
    OpenSslServer server(GetParam().certificate);
    TlsAttempt given = connectTo(server.uri(hostOf(GetParam())));
    expectOutcome(given, isCarried() ? GetParam().carried : GetParam().openSsl);
}

INSTANTIATE_TEST_SUITE_P(Names, TlsHostName, testing::ValuesIn(rows), qldapx_test::caseName<Row>);

} // namespace
} // namespace test
