// Which names of a server are accepted, by either TLS. docs/tls.md has this table for users.
#include "openssl_server.h"
#include "support/case_name.h"
#include "tls_client.h"

#include <cstring>
#include <dlfcn.h>
#include <netdb.h>
#include <openssl/x509.h>
#include <qldapx/tls.h>
#include <unistd.h>

namespace {

std::string ownName() {
    char own[256] = "";
    gethostname(own, sizeof own - 1);
    return own;
}

bool endsIn(std::string_view text, std::string_view end) {
    return text.size() >= end.size() &&
           strcasecmp(text.data() + text.size() - end.size(), end.data()) == 0;
}

} // namespace

// libldap asks this for addresses: names of the tests' own are this machine's server, and so is the
// machine's own name, whatever its address; but not when its full name is asked for. Exported by
// the program.
extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                           addrinfo **result) {
    static auto *const next =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const bool isConnecting = hints == nullptr || (hints->ai_flags & AI_CANONNAME) == 0;
    const bool isOurs =
        node != nullptr && (endsIn(node, "tls.test") || (isConnecting && node == ownName()));
    return next(isOurs ? "127.0.0.1" : node, service, hints, result);
}

namespace test {
namespace {

constexpr char machine[] = "<machine>"; // stands for its name
constexpr char accepted[] = "";
// Found by the context:
constexpr char name[] = "(hostname mismatch)";
constexpr char address[] = "(IP address mismatch)";
// Found by libldap:
constexpr char byLibldap[] = "TLS: hostname does not match name in peer certificate";

enum class Verification { usual, none, accepting, expired };

struct Row {
    const char *name;
    const char *certificate;
    const char *host;
    Verification verification;
    // Accepted, or why not, where the library does TLS, and where libldap does it with OpenSSL.
    const char *carried, *openSsl;
};

const Row rows[] = {
    {"Localhost", "good", "localhost", Verification::usual, accepted, accepted},
    {"Machine", "good", machine, Verification::usual, accepted, accepted},
    {"Address", "good", "127.0.0.1", Verification::usual, accepted, accepted},
    {"OtherName", "good", "one.tls.test", Verification::usual, name, name},
    // libldap with OpenSSL takes "localhost" for the name of the machine, the context for either.
    {"LocalhostOnly", "san-localhost", "localhost", Verification::usual, accepted, byLibldap},
    {"LocalhostOfAMachine", "san-machine", "localhost", Verification::usual, accepted, accepted},
    {"MachineOnly", "san-machine", machine, Verification::usual, accepted, accepted},
    {"MachineOfALocalhost", "san-localhost", machine, Verification::usual, name, name},
    {"Name", "san-name", "one.tls.test", Verification::usual, accepted, accepted},
    {"NameInCapitals", "san-name", "ONE.TLS.TEST", Verification::usual, accepted, accepted},
    {"CertificateInCapitals", "san-upper", "one.tls.test", Verification::usual, accepted, accepted},
    {"NameBelow", "san-name", "a.one.tls.test", Verification::usual, name, name},
    {"NameAbove", "san-name", "tls.test", Verification::usual, name, name},
    {"Wildcard", "san-wildcard", "one.tls.test", Verification::usual, accepted, accepted},
    {"WildcardOfTwoLevels", "san-wildcard", "a.one.tls.test", Verification::usual, name, name},
    {"WildcardOfNone", "san-wildcard", "tls.test", Verification::usual, name, name},
    {"WildcardOfAPart", "san-partial", "one.tls.test", Verification::usual, name, name},
    // The common name counts where there is no alternative name that is a host name.
    {"CommonName", "cn-only", "one.tls.test", Verification::usual, accepted, accepted},
    {"OtherCommonName", "cn-only", "other.tls.test", Verification::usual, name, name},
    {"CommonWildcard", "cn-wildcard", "one.tls.test", Verification::usual, accepted, accepted},
    {"CommonNameBesideANameNo", "cn-beside-san", "one.tls.test", Verification::usual, name, name},
    {"NameBesideACommonName", "cn-beside-san", "other.tls.test", Verification::usual, accepted,
     accepted},
    {"CommonNameBesideAnAddress", "cn-beside-ip", "one.tls.test", Verification::usual, accepted,
     accepted},
    {"NoNameAtAll", "no-name", "one.tls.test", Verification::usual, name, name},
    {"AddressOnly", "san-ip", "127.0.0.1", Verification::usual, accepted, accepted},
    {"NameOfAnAddress", "san-ip", "localhost", Verification::usual, name, name},
    {"OtherAddress", "wrong-ip", "127.0.0.1", Verification::usual, address, address},
    {"AddressOfAnotherKind", "san-ip6", "127.0.0.1", Verification::usual, address, address},
    {"AddressAsAName", "san-ip-as-name", "127.0.0.1", Verification::usual, address, address},
    {"AddressAsACommonName", "cn-ip", "127.0.0.1", Verification::usual, address, address},
    {"AddressOfAName", "san-localhost", "127.0.0.1", Verification::usual, address, address},
    {"AddressOfNothing", "no-name", "127.0.0.1", Verification::usual, address, address},
    // Without verification names do not matter to the context. libldap checks its own, unless the
    // context found a fault.
    {"NoneOtherName", "good", "one.tls.test", Verification::none, accepted, accepted},
    {"NoneOtherAddress", "wrong-ip", "127.0.0.1", Verification::none, accepted, accepted},
    {"NoneLocalhost", "san-localhost", "localhost", Verification::none, accepted, byLibldap},
    {"NoneOtherNameOfAnExpiredOne", "expired-wrong-name", "localhost", Verification::none, accepted,
     accepted},
    {"NoneOtherAddressOfAnExpiredOne", "expired-wrong-name", "127.0.0.1", Verification::none,
     accepted, accepted},
    // So with a callback that accepts everything.
    {"CallbackOtherName", "good", "one.tls.test", Verification::accepting, accepted, accepted},
    {"CallbackOtherAddress", "wrong-ip", "127.0.0.1", Verification::accepting, accepted, accepted},
    {"CallbackLocalhost", "san-localhost", "localhost", Verification::accepting, accepted,
     byLibldap},
    {"CallbackOtherNameOfAnExpiredOne", "expired-wrong-name", "localhost", Verification::accepting,
     accepted, accepted},
    {"CallbackOtherAddressOfAnExpiredOne", "expired-wrong-name", "127.0.0.1",
     Verification::accepting, accepted, accepted},
    // Who accepts one fault has not accepted another.
    {"ExpiryOtherName", "expired-wrong-name", "localhost", Verification::expired, name, name},
    {"ExpiryOtherAddress", "expired-wrong-name", "127.0.0.1", Verification::expired, address,
     address},
    {"Expiry", "expired", "127.0.0.1", Verification::expired, accepted, accepted},
};

int acceptAnything(X509_STORE_CTX * /*certificate*/) {
    return 0;
}

int acceptExpired(X509_STORE_CTX *certificate) {
    return X509_STORE_CTX_get_error(certificate) == X509_V_ERR_CERT_HAS_EXPIRED ? 0 : 1;
}

void verify(Verification verification) {
    if (verification == Verification::none)
        ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE);
    if (verification == Verification::accepting)
        ldapssl_set_verify_callback(acceptAnything);
    if (verification == Verification::expired)
        ldapssl_set_verify_callback(acceptExpired);
}

std::string hostOf(const Row &row) {
    return row.host == machine ? ownName() : row.host;
}

TlsAttempt connectTo(const std::string &uri) {
    SessionPtr session = newSession(uri);
    int result = ldap_connect(session.get());
    return {result, diagnosticOf(session.get())};
}

void expectOutcome(const TlsAttempt &given, const char *reason) {
    if (*reason != *accepted)
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

// libldap's name for the machine is what the resolver makes of it, which may be "localhost".
bool libldapHasAnotherName() {
    char own[256] = "";
    gethostname(own, sizeof own - 1);
    const hostent *found = gethostbyname(own);
    return found != nullptr && std::strcmp(found->h_name, own) != 0;
}

TEST_P(TlsHostName, IsChecked) {
    const bool isOfLibldap = std::strcmp(GetParam().host, "localhost") == 0 && libldapHasOpenSsl();
    if (isOfLibldap && libldapHasAnotherName())
        return;
    verify(GetParam().verification);
    OpenSslServer server(GetParam().certificate);
    TlsAttempt given = connectTo(server.uri(hostOf(GetParam())));
    expectOutcome(given, libldapHasOpenSsl() ? GetParam().openSsl : GetParam().carried);
}

INSTANTIATE_TEST_SUITE_P(Names, TlsHostName, testing::ValuesIn(rows), qldapx_test::caseName<Row>);

} // namespace
} // namespace test
