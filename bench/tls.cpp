// tls certificates FOLDER - writes certificates for the others.
// tls sessions NAME FOLDER URL COUNT - times so many sessions of one search, and prints NAME with
// the median in microseconds. NAME begins with how: library (a verified session is taken up
// again), fresh (every session with a handshake of its own), libldap (libldap's own settings).
// tls bundle FOLDER ROUNDS - times the loading of 150 CA certificates, in pairs.
#include "unit/tls/authority.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <qldapx.h>
#include <string>
#include <vector>

namespace {

using namespace test;

[[noreturn]] void fail(const std::string &what) {
    std::fprintf(stderr, "bench_tls: %s\n", what.c_str());
    std::exit(1);
}

double microseconds(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void writeCertificates(const std::string &folder) {
    const Authority authority;
    const Issued server = authority.issue();
    std::ofstream(folder + "/ca.pem") << authority.own().pem();
    std::ofstream(folder + "/server.pem") << server.pem();
    std::ofstream(folder + "/server.key") << server.keyPem();
    std::ofstream bundle(folder + "/bundle.pem");
    for (int i = 0; i < 150; ++i)
        bundle << Authority("CA " + std::to_string(i)).own().pem();
}

int refuse(X509_STORE_CTX * /*store*/) {
    return 1;
}

void setUp(const std::string &name, const std::string &authority) {
    if (name.rfind("libldap", 0) == 0) {
        int client = 0;
        ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE, authority.c_str());
        if (ldap_set_option(nullptr, LDAP_OPT_X_TLS_NEWCTX, &client) != LDAP_OPT_SUCCESS)
            fail("libldap made no context");
        return;
    }
    if (ldapssl_client_init(authority.c_str()) != 0)
        fail("no context");
    // With a callback, even one that is never asked, no session is taken up again.
    if (name.rfind("fresh", 0) == 0 && ldapssl_set_verify_callback(refuse) != 0)
        fail("no callback");
}

void runSession(const char *url) {
    LDAP *ld = nullptr;
    LDAPMessage *message = nullptr;
    int version = LDAP_VERSION3;
    ldap_initialize(&ld, url);
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    const int result = ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", nullptr, 0,
                                         nullptr, nullptr, nullptr, 0, &message);
    if (result != LDAP_SUCCESS)
        fail(ldap_err2string(result));
    ldap_msgfree(message);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

void timeSessions(const std::string &name, const std::string &folder, const char *url, int count) {
    setUp(name, folder + "/ca.pem");
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const double begin = microseconds(CLOCK_MONOTONIC);
        runSession(url);
        times.push_back(microseconds(CLOCK_MONOTONIC) - begin);
    }
    std::printf("%s %.1f\n", name.c_str(), median(times));
}

void loadByLibrary(const std::string &bundle) {
    if (ldapssl_client_init(nullptr) != 0 ||
        ldapssl_add_trusted_cert(bundle.c_str(), QLDAPX_TLS_FILE_PEM) != 0)
        fail("the library did not load the bundle");
}

// It replaces a context, too.
void loadByOpenSsl(const std::string &bundle) {
    static std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>> context;
    context.reset(SSL_CTX_new(TLS_method()));
    if (SSL_CTX_load_verify_file(context.get(), bundle.c_str()) != 1)
        fail("OpenSSL did not load the bundle");
}

double timeOf(void (*load)(const std::string &), const std::string &bundle) {
    const double begin = microseconds(CLOCK_PROCESS_CPUTIME_ID);
    load(bundle);
    return microseconds(CLOCK_PROCESS_CPUTIME_ID) - begin;
}

void timeBundles(const std::string &folder, int rounds) {
    const std::string bundle = folder + "/bundle.pem";
    loadByLibrary(bundle);
    loadByOpenSsl(bundle);
    for (int i = 0; i < rounds; ++i) {
        // Who comes second finds the caches warm.
        double library = i % 2 == 0 ? timeOf(loadByLibrary, bundle) : 0;
        const double peer = timeOf(loadByOpenSsl, bundle);
        if (i % 2 != 0)
            library = timeOf(loadByLibrary, bundle);
        std::printf("bundle-library %.1f\nbundle-peer %.1f\nbundle-ratio %.4f\n", library, peer,
                    library / peer);
    }
}

} // namespace

int main(int argc, char **argv) {
    const std::string command = argc > 2 ? argv[1] : "";
    if (command == "certificates" && argc == 3)
        writeCertificates(argv[2]);
    else if (command == "sessions" && argc == 6)
        timeSessions(argv[2], argv[3], argv[4], std::atoi(argv[5]));
    else if (command == "bundle" && argc == 4)
        timeBundles(argv[2], std::atoi(argv[3]));
    else
        fail("see the source for the arguments");
    return 0;
}
