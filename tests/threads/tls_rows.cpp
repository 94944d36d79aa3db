// Sessions over TLS that connect while other threads change everything about TLS. Each connection
// must succeed, or be refused for a reason that the changes explain.
#include "rows.h"

#include "tls/authority.h"
#include "tls/session.h"
#include "tls/tls_server.h"

#include <atomic>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {
namespace {

using namespace test;

struct Scene {
    Authority authority;
    TlsServer server{authority.issue()};
    Issued client = authority.issue({"client", ""});
    std::string trust = authority.own().der();
    std::string certificate = client.pem();
    std::string key = client.keyPem();
};
std::unique_ptr<Scene> scene;
std::atomic<unsigned> connected = 0, refused = 0;
constexpr unsigned connectingThreads = 2; // while others change everything

berval bytesOf(const std::string &text) {
    return {text.size(), const_cast<char *>(text.data())};
}

void trust() {
    const berval authority = bytesOf(scene->trust);
    require(ldapssl_add_trusted_cert(&authority, QLDAPX_TLS_BUFFER_DER) == 0, "trust");
}

void open(unsigned /*rounds*/) {
    scene = std::make_unique<Scene>();
    require(ldapssl_client_init(nullptr) == 0, "a context");
    trust();
    connected = refused = 0;
}

void close() {
    require(ldapssl_client_deinit() == 0, "the end of the context");
    scene.reset();
}

void connect(unsigned /*round*/) {
    const Session session = openSession(scene->server.port());
    const int result = bindAnonymously(session);
    const bool isRefused = result == LDAP_SERVER_DOWN;
    require(isRefused || result == LDAP_SUCCESS,
            "connected or refused: " + std::to_string(result) + " " + diagnosis(session));
    ++(isRefused ? refused : connected);
}

int acceptSome(struct x509_store_ctx_st *certificate) {
    static std::atomic<int> count = 0;
    char subject[256];
    int length = sizeof subject;
    require(ldapssl_get_cert_attribute(certificate, QLDAPX_TLS_CERT_SUBJECT, subject, &length) == 0,
            "the callback sees the subject");
    return count++ % 2;
}

void setIdentity() {
    const berval certificate = bytesOf(scene->certificate), key = bytesOf(scene->key);
    require(ldapssl_set_client_cert(&certificate, QLDAPX_TLS_BUFFER_PEM, nullptr) == 0,
            "a certificate");
    require(ldapssl_set_client_private_key(&key, QLDAPX_TLS_BUFFER_PEM, nullptr) == 0, "its key");
}

// What stands last lasts longest, because a new context takes its time. Every other one trusts
// nobody, so that the callback decides.
void changeOne(unsigned number) {
    const bool isOdd = number / 7 % 2 == 1;
    int mode = -1;
    switch (number % 7) {
    case 0:
        return require(ldapssl_client_init(nullptr) == 0, "a new context");
    case 1:
        return isOdd ? trust() : void();
    case 2:
        return setIdentity();
    case 3:
        return require(ldapssl_set_verify_mode(isOdd ? 1 : 0) == 0, "a mode");
    case 4:
        return require(ldapssl_get_verify_mode(&mode) == 0 && mode >= 0, "the mode");
    case 5:
        return require(ldapssl_set_verify_callback(nullptr) == 0, "no callback");
    default:
        return require(ldapssl_set_verify_callback(acceptSome) == 0, "a callback");
    }
}

// As long as there are sessions that connect.
template <auto act>
void meanwhile(unsigned round) {
    unsigned number = round;
    do
        act(number++);
    while (connected + refused < round * connectingThreads);
}

// What an application may do to the context itself, with its lock.
void lookAtContext(unsigned /*number*/) {
    pthread_mutex_lock(&g_Sync);
    require(g_SSLReg == 1 && g_CryptCtx != nullptr, "there is a context");
    require(SSL_CTX_get0_certificate(g_CryptCtx) != scene->client.certificate.get(),
            "the certificate is a copy");
    pthread_mutex_unlock(&g_Sync);
}

void closeUnchanged() {
    require(connected > 0 && refused == 0, "all are connected");
    close();
}

const Row rows[] = {
    {"tls-sessions", 15, {connect, connect, connect, connect}, open, closeUnchanged},
    {"tls-contexts-change",
     30,
     {connect, connect, meanwhile<changeOne>, meanwhile<changeOne>, meanwhile<lookAtContext>},
     open,
     close},
};

} // namespace

std::span<const Row> tlsRows() {
    return rows;
}

} // namespace qldapx_test
