// Threads that connect while another one changes everything about TLS, for a ThreadSanitizer to
// look at: a data race ends the program with a report. Each connection must succeed or be refused
// for a reason that the changes explain.
#include "tls_client.h"
#include "tls_slapd.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <qldapx/tls.h>
#include <random>
#include <thread>

// OpenSSL is built without the sanitizer, which does not see how it counts references: who drops a
// context's last one releases what the library keeps with it, without a lock.
extern "C" const char *__tsan_default_suppressions() {
    return "called_from_lib:libcrypto.so\ncalled_from_lib:libssl.so\n"
           "race:releaseCache\n";
}

namespace {

using test::tlsFile;

constexpr int threadCount = 4, connectsOfEach = 60;

std::atomic<int> connected = 0, refused = 0;
std::atomic<bool> done = false;

void require(bool holds, const char *what, const std::string &detail = {}) {
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s %s\n", what, detail.c_str());
    std::_Exit(1);
}

void connectOften(const std::string &uri) {
    for (int i = 0; i < connectsOfEach; ++i) {
        const test::TlsAttempt given = test::attempt(uri);
        const bool isRefused =
            given.result == LDAP_SERVER_DOWN &&
            given.diagnostic.find("certificate verify failed") != std::string::npos;
        require(isRefused || given.result == LDAP_SUCCESS, "connected, or refused for a reason:",
                std::to_string(given.result) + " " + given.diagnostic);
        ++(isRefused ? refused : connected);
    }
}

int acceptSome(struct x509_store_ctx_st *certificate) {
    static std::atomic<int> count = 0;
    char subject[256];
    int length = sizeof subject;
    require(ldapssl_get_cert_attribute(certificate, QLDAPX_TLS_CERT_SUBJECT, subject, &length) == 0,
            "the callback sees the subject");
    return count++ % 2;
}

void changeOne(std::mt19937 &random) {
    int mode = 0;
    switch (random() % 9) {
    case 0:
        return require(ldapssl_client_init(tlsFile("ca.pem").c_str()) == 0, "new, with trust");
    case 1:
        return require(ldapssl_client_init(nullptr) == 0, "new, without trust");
    case 2:
        return require(ldapssl_set_verify_mode(static_cast<int>(random() % 2)) == 0, "mode");
    case 3:
        return require(ldapssl_get_verify_mode(&mode) == 0, "mode is told");
    case 4:
        return require(ldapssl_set_verify_callback(acceptSome) == 0, "callback");
    case 5:
        return require(ldapssl_set_verify_callback(nullptr) == 0, "no callback");
    case 6:
        return require(ldapssl_set_client_cert(tlsFile("client.pem").c_str(), QLDAPX_TLS_FILE_PEM,
                                               nullptr) == 0,
                       "certificate");
    case 7:
        return require(ldapssl_set_client_private_key(tlsFile("client.key").c_str(),
                                                      QLDAPX_TLS_FILE_PEM, nullptr) == 0,
                       "key");
    default:
        return require(ldapssl_add_trusted_cert(tlsFile("both.pem").c_str(), QLDAPX_TLS_FILE_PEM) ==
                           0,
                       "trust");
    }
}

void changeUntilDone() {
    std::mt19937 random(8);
    while (!done)
        changeOne(random);
}

void connectTogether(const std::string &uri) {
    std::array<std::thread, threadCount> threads;
    for (std::thread &thread : threads)
        thread = std::thread(connectOften, uri);
    for (std::thread &thread : threads)
        thread.join();
}

void connectWhileThingsChange(const std::string &uri) {
    std::thread changing(changeUntilDone);
    connectTogether(uri);
    done = true;
    changing.join();
}

} // namespace

int main() {
    test::TlsSlapd server;
    require(ldapssl_client_init(tlsFile("ca.pem").c_str()) == 0, "the first context");
    connectTogether(server.tlsUri()); // taking up the sessions of others
    require(refused == 0, "all are connected");
    connectWhileThingsChange(server.tlsUri());
    require(connected > threadCount * connectsOfEach && refused > 0, "both things happen");
    require(ldapssl_client_deinit() == 0, "the end");
    std::printf("%d connected, %d refused\n", connected.load(), refused.load());
    return 0;
}
