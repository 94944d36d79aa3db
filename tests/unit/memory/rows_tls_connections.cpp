// Connections that carry TLS: the handshake, requests, the end, and taking up sessions again.
#include "memory/rows.h"
#include "memory/tls_watch.h"
#include "tls/temporary_file.h"
#include "tls/tls_server.h"

#include <algorithm>
#include <dlfcn.h>
#include <functional>
#include <netinet/in.h>
#include <openssl/x509_vfy.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldapx_test::memory {
namespace {

using namespace test;

constexpr long stride = 149;

struct Peer {
    explicit Peer(const char *names = "DNS:localhost,IP:127.0.0.1", int version = TLS1_3_VERSION)
        : server(authority.issue({"s", names}),
                 [version](SSL_CTX *context) { SSL_CTX_set_max_proto_version(context, version); }) {
    }

    void trust() const {
        EXPECT_EQ(ldapssl_client_init(nullptr), 0);
        const std::string bytes = authority.own().der();
        const berval buffer = {bytes.size(), const_cast<char *>(bytes.data())};
        EXPECT_EQ(ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_DER), 0);
    }

    const Authority authority;
    TlsServer server;
};

int bindAnonymously(LDAP *ld) {
    berval none = {0, nullptr};
    return ldap_sasl_bind_s(ld, nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr, nullptr);
}

void setTimes(LDAP *ld, long microseconds = 0) {
    const int version = LDAP_VERSION3;
    const timeval patience = {microseconds == 0 ? 10 : 0, microseconds};
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &patience);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
}

// The text of the session's URL is lost: that is the contract.
void open(Trial &trial) {
    TlsWatch watch(trial);
    LDAP *ld = trial.pointer("ldapssl_init", [] { return ldapssl_init("localhost", 636, 1); });
    watch.allow(1);
    if (ld != nullptr)
        ldap_unbind_ext(ld, nullptr, nullptr);
}

LDAP *opened(int port, const char *host = "127.0.0.1") {
    LDAP *ld = nullptr;
    const std::string url = "ldaps://" + std::string(host) + ":" + std::to_string(port);
    EXPECT_EQ(ldap_initialize(&ld, url.c_str()), LDAP_SUCCESS);
    setTimes(ld);
    return ld;
}

// A session with memory.
int connectOnce(const Peer &peer) {
    LDAP *ld = opened(peer.server.port());
    const int result = bindAnonymously(ld);
    ldap_unbind_ext(ld, nullptr, nullptr);
    return result;
}

void connect(Trial &trial, const Peer &peer) {
    const TlsWatch watch(trial);
    peer.trust();
    LDAP *ld = opened(peer.server.port());
    const int result = trial.code(
        "carrier:handshake", [&] { return bindAnonymously(ld); }, Without::mayGoOn);
    ldap_unbind_ext(ld, nullptr, nullptr);
    trial.expect(result == LDAP_SUCCESS || connectOnce(peer) == LDAP_SUCCESS,
                 "no connection ever after");
    ldapssl_client_deinit();
}

// As a connection does it: keys have to be strong enough, too.
int verify(const std::string &der) {
    const auto *at = reinterpret_cast<const unsigned char *>(der.data());
    const Certificate certificate(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
    const std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>> context(
        X509_STORE_CTX_new());
    if (!certificate || !context ||
        X509_STORE_CTX_init(context.get(), SSL_CTX_get_cert_store(g_CryptCtx), certificate.get(),
                            nullptr) != 1)
        return -1;
    X509_VERIFY_PARAM_set_auth_level(X509_STORE_CTX_get0_param(context.get()), 1);
    return X509_verify_cert(context.get()) == 1 ? 0 : -1;
}

// What was trusted without a failure is so ever after.
void trust(Trial &trial, const Authority &authority, const std::function<int()> &add) {
    const std::string issued = authority.issue().der();
    const TlsWatch watch(trial);
    if (add() == 0)
        trial.expect(verify(issued) == 0, "no verification ever after");
    ldapssl_client_deinit();
}

void trustFile(Trial &trial) {
    static const Authority authority;
    static const TemporaryFile file(authority.own().pem());
    trust(trial, authority, [&] {
        return trial.codeOr(-1, "ldapssl_client_init",
                            [] { return ldapssl_client_init(file.path()); });
    });
}

void trustBuffer(Trial &trial) {
    static const Authority authority;
    static const std::string bytes = authority.own().der();
    static const berval buffer = {bytes.size(), const_cast<char *>(bytes.data())};
    trust(trial, authority, [&] {
        EXPECT_EQ(ldapssl_client_init(nullptr), 0);
        return trial.codeOr(-1, "ldapssl_add_trusted_cert", [] {
            return ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_DER);
        });
    });
}

// A verification that fails takes the trust from no other.
void verifyTwice(Trial &trial) {
    static const Peer peer;
    static const std::string der = peer.authority.issue().der();
    const TlsWatch watch(trial);
    peer.trust();
    trial.codeOr(-1, "carrier:verification", [] { return verify(der); });
    trial.expect(verify(der) == 0, "no verification ever after");
    ldapssl_client_deinit();
}

void takeUp(Trial &trial, const Peer &peer) {
    const TlsWatch watch(trial);
    peer.trust();
    LDAP *first = opened(peer.server.port());
    EXPECT_EQ(bindAnonymously(first), LDAP_SUCCESS);
    ldap_unbind_ext(first, nullptr, nullptr);
    LDAP *ld = opened(peer.server.port());
    trial.code(
        "carrier:resumption", [&] { return bindAnonymously(ld); }, Without::mayGoOn);
    ldap_unbind_ext(ld, nullptr, nullptr);
    ldapssl_client_deinit();
}

void request(Trial &trial, const Peer &peer) {
    const TlsWatch watch(trial);
    peer.trust();
    LDAP *ld = opened(peer.server.port());
    EXPECT_EQ(bindAnonymously(ld), LDAP_SUCCESS);
    trial.code(
        "carrier:request", [&] { return bindAnonymously(ld); }, Without::mayGoOn);
    trial.call("carrier:unbind", [&] { ldap_unbind_ext(ld, nullptr, nullptr); });
    ldapssl_client_deinit();
}

// However memory fails, a server that is not verified gets no LDAP message, hence gives no answer.
void refuse(Trial &trial, const Peer &peer, bool isTrusted, const char *host) {
    const TlsWatch watch(trial);
    if (isTrusted)
        peer.trust();
    else
        EXPECT_EQ(ldapssl_client_init(nullptr), 0);
    LDAP *ld = opened(peer.server.port(), host);
    const int result = trial.call("carrier:refusal", [&] { return bindAnonymously(ld); });
    trial.expect(result < 0, "a server that is not verified was accepted");
    ldap_unbind_ext(ld, nullptr, nullptr);
    ldapssl_client_deinit();
}

thread_local Trial *forgetting = nullptr;

} // namespace
} // namespace qldapx_test::memory

// OpenSSL's own, with which a verification takes over what a connection requires: the trial under
// way lets its allocations fail, and no other ones.
extern "C" int X509_VERIFY_PARAM_set1(X509_VERIFY_PARAM *to, const X509_VERIFY_PARAM *from) {
    using Set = int (*)(X509_VERIFY_PARAM *, const X509_VERIFY_PARAM *);
    static const auto set = reinterpret_cast<Set>(dlsym(RTLD_NEXT, "X509_VERIFY_PARAM_set1"));
    qldapx_test::memory::Trial *trial = qldapx_test::memory::forgetting;
    if (trial == nullptr)
        return set(to, from);
    return trial->call("carrier:refusal", [&] { return set(to, from); });
}

namespace qldapx_test::memory {
namespace {

// What OpenSSL forgets of a connection's requirements is required all the same.
void forget(Trial &trial, const Peer &peer, const char *host) {
    const TlsWatch watch(trial);
    peer.trust();
    LDAP *ld = opened(peer.server.port(), host);
    forgetting = &trial;
    const int result = bindAnonymously(ld);
    forgetting = nullptr;
    trial.expect(result < 0, "a server that is not verified was accepted");
    ldap_unbind_ext(ld, nullptr, nullptr);
    ldapssl_client_deinit();
}

// However memory fails, a server that does not answer is waited for as long as was said.
void wait(Trial &trial) {
    static const Listener silent;
    const TlsWatch watch(trial);
    EXPECT_EQ(ldapssl_client_init(nullptr), 0);
    LDAP *ld = opened(silent.port());
    setTimes(ld, 20000);
    const int result = trial.call("carrier:silence", [&] { return bindAnonymously(ld); });
    trial.expect(result < 0, "another result");
    ldap_unbind_ext(ld, nullptr, nullptr);
    ldapssl_client_deinit();
}

// OpenSSL has been used in this process, for a client, too, but the library has not.
void useOpenSsl(const Peer &peer) {
    const std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>> context(SSL_CTX_new(TLS_client_method()));
    const std::unique_ptr<SSL, Release<SSL_free>> ssl(SSL_new(context.get()));
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(peer.server.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    SSL_set_fd(ssl.get(), descriptor);
    EXPECT_EQ(SSL_connect(ssl.get()), 1);
    SSL_shutdown(ssl.get());
    close(descriptor);
}

// What the library sets up once for the process is set up later where memory had failed: sessions
// connect, and are taken up again.
void beginWithContext(Trial &trial) {
    const Peer peer;
    useOpenSsl(peer);
    trial.codeOr(-1, "ldapssl_client_init", [] { return ldapssl_client_init(nullptr); });
    peer.trust();
    trial.expect(connectOnce(peer) == LDAP_SUCCESS, "no first connection");
    trial.expect(connectOnce(peer) == LDAP_SUCCESS, "no second connection");
    // In the order in which they ended.
    const std::vector<TlsServer::Seen> seen = peer.server.seen(3);
    trial.expect(std::any_of(seen.begin(), seen.end(),
                             [](const TlsServer::Seen &one) { return one.isResumed; }),
                 "nothing is taken up again");
}

void beginWithConnection(Trial &trial) {
    const Peer peer;
    useOpenSsl(peer);
    peer.trust();
    LDAP *ld = opened(peer.server.port());
    trial.code(
        "carrier:handshake", [&] { return bindAnonymously(ld); }, Without::mayGoOn);
    ldap_unbind_ext(ld, nullptr, nullptr);
    trial.expect(connectOnce(peer) == LDAP_SUCCESS, "no connection ever after");
}

void addRefusals(Rows &rows) {
    rows.push_back({"untrusted",
                    [](Trial &trial) {
                        static const Peer peer;
                        refuse(trial, peer, false, "127.0.0.1");
                    },
                    stride});
    rows.push_back({"another address",
                    [](Trial &trial) {
                        static const Peer peer("IP:127.0.0.2");
                        refuse(trial, peer, true, "127.0.0.1");
                    },
                    stride});
    rows.push_back({"another name",
                    [](Trial &trial) {
                        static const Peer peer("DNS:other.example.com");
                        refuse(trial, peer, true, "localhost");
                    },
                    stride});
}

} // namespace

void addTlsConnections(Rows &rows) {
    rows.push_back({"session", open});
    rows.push_back({"trusted file", trustFile, 11});
    rows.push_back({"trusted buffer", trustBuffer});
    rows.push_back({"verification", verifyTwice});
    rows.push_back({"TLS 1.3",
                    [](Trial &trial) {
                        static const Peer peer;
                        connect(trial, peer);
                    },
                    stride});
    rows.push_back({"TLS 1.2",
                    [](Trial &trial) {
                        static const Peer peer("IP:127.0.0.1", TLS1_2_VERSION);
                        connect(trial, peer);
                    },
                    stride});
    rows.push_back({"TLS 1.3 again",
                    [](Trial &trial) {
                        static const Peer peer;
                        takeUp(trial, peer);
                    },
                    stride});
    rows.push_back({"request",
                    [](Trial &trial) {
                        static const Peer peer;
                        request(trial, peer);
                    },
                    stride});
    addRefusals(rows);
    for (const char *host : {"127.0.0.1", "localhost"})
        rows.push_back({"forgotten host", [host](Trial &trial) {
                            static const Peer peer("IP:127.0.0.2,DNS:other.example.com");
                            forget(trial, peer, host);
                        }});
    rows.push_back({"silent", wait, stride});
    rows.push_back({"first context", beginWithContext, 3, 400});
    rows.push_back({"first connection", beginWithConnection, 1, 40});
}

} // namespace qldapx_test::memory
