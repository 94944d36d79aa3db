#include "ssl/host_name.h"

#include "ssl/handles.h"

#include <arpa/inet.h>
#include <climits>
#include <cstdio>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <strings.h>
#include <unistd.h>

namespace qldapx {
namespace {

// A server on this machine is also called by the machine's name: libldap takes no other one for
// "localhost".
bool allowMachineName(X509_VERIFY_PARAM *parameters) {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0 || name[0] == '\0')
        return true;
    return X509_VERIFY_PARAM_add1_host(parameters, name, 0) == 1;
}

bool requireName(X509_VERIFY_PARAM *parameters, const char *name) {
    X509_VERIFY_PARAM_set_hostflags(parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (X509_VERIFY_PARAM_set1_host(parameters, name, 0) != 1)
        return false;
    return strcasecmp(name, "localhost") != 0 || allowMachineName(parameters);
}

thread_local char expectedAddress[INET6_ADDRSTRLEN] = {};

// The host that this connection is to; NULL: it is not known, or was required at the beginning.
const char *hostOf(const SSL *ssl, X509_VERIFY_PARAM *parameters) {
    ERR_set_mark(); // that there is no address counts as an error
    const bool isRequired = X509_VERIFY_PARAM_get0_host(parameters, 0) != nullptr ||
                            OpenSslTextPtr(X509_VERIFY_PARAM_get1_ip_asc(parameters)) != nullptr;
    ERR_pop_to_mark();
    if (isRequired)
        return nullptr;
    const char *name = SSL_get_servername(ssl, TLSEXT_NAMETYPE_host_name);
    return name == nullptr && expectedAddress[0] != '\0' ? expectedAddress : name;
}

// Where libldap makes the connection, its server's name is found here and nowhere before. As a
// part of the verification a wrong name is a fault like others: an application's callback is asked,
// and libldap's own comparison, which it leaves out when a callback has accepted a fault, is not
// all there is.
int verify(X509_STORE_CTX *store, void * /*unused*/) {
    const auto *ssl = static_cast<const SSL *>(
        X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    X509_VERIFY_PARAM *parameters = X509_STORE_CTX_get0_param(store);
    const char *host = hostOf(ssl, parameters);
    const bool isReady = host == nullptr || requireHost(parameters, host);
    expectAddress(nullptr);
    if (isReady)
        return X509_verify_cert(store);
    X509_STORE_CTX_set_error(store, X509_V_ERR_OUT_OF_MEM);
    return 0;
}

} // namespace

bool isAddress(const char *host) {
    in6_addr address;
    return inet_pton(AF_INET, host, &address) == 1 || inet_pton(AF_INET6, host, &address) == 1;
}

bool requireHost(X509_VERIFY_PARAM *parameters, const char *host) {
    return isAddress(host) ? X509_VERIFY_PARAM_set1_ip_asc(parameters, host) == 1
                           : requireName(parameters, host);
}

void expectAddress(const char *host) {
    const bool isKnown = host != nullptr && isAddress(host);
    std::snprintf(expectedAddress, sizeof expectedAddress, "%s", isKnown ? host : "");
}

void checkHostNames(SSL_CTX *context) {
    SSL_CTX_set_cert_verify_callback(context, verify, nullptr);
}

} // namespace qldapx
