#include "tls.h"

#include "owners.h"

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <openssl/x509_vfy.h>
#include <sstream>

namespace soak {
namespace {

std::string contentOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/** Where the client's certificate and key may come from. */
struct Source {
    int type;
    std::string TlsMaterial::*path;
    bool isBuffer;
    const char *password;
};

const Source sources[] = {
    {QLDAPX_TLS_FILE_PEM, &TlsMaterial::client, false, nullptr},
    {QLDAPX_TLS_BUFFER_PEM, &TlsMaterial::client, true, nullptr},
    {QLDAPX_TLS_FILE_PKCS12, &TlsMaterial::pkcs12, false, pkcs12Password},
    {QLDAPX_TLS_BUFFER_PKCS12, &TlsMaterial::pkcs12, true, pkcs12Password},
};

void showClient(Hand &hand, const TlsMaterial &material, const Source &source) {
    const std::string &path = material.*source.path;
    std::string content = source.isBuffer ? contentOf(path) : std::string();
    const berval buffer{content.size(), content.data()};
    const void *from = source.isBuffer ? static_cast<const void *>(&buffer) : path.c_str();
    hand.expect("ldapssl_set_client_cert",
                ldapssl_set_client_cert(from, source.type, source.password));
    hand.expect("ldapssl_set_client_private_key",
                ldapssl_set_client_private_key(from, source.type, source.password));
}

/** A session made by the library, which loses the text of its URL. */
std::unique_ptr<Session> open(Hand &hand, const std::string &uri) {
    const Url url(uri);
    hand.tally().lose(chunk(uri.size() + 2));
    return std::make_unique<Session>(ldapssl_init(url.host.c_str(), url.port, url.isSecure ? 1 : 0),
                                     longPatience);
}

void bindByCertificate(Hand &hand) {
    char none[] = "";
    berval nobody{0, none};
    const auto session = open(hand, hand.place().uri);
    hand.expect("ldap_sasl_bind_s EXTERNAL",
                ldap_sasl_bind_s(*session, "", "EXTERNAL", &nobody, nullptr, nullptr, nullptr));
    TextPtr identity;
    hand.expect("ldap_get_bind_dn", ldap_get_bind_dn(*session, out(identity)));
    hand.verify(strcasecmp(identity.get(), adaDn) == 0, "the certificate is somebody else's");
}

std::atomic<int> asked;

template <std::size_t size>
bool tells(X509_STORE_CTX *store, int attribute, std::array<char, size> &text) {
    int length = size;
    return ldapssl_get_cert_attribute(store, attribute, text.data(), &length) == 0;
}

// Looks at all there is, and accepts.
int acceptStranger(X509_STORE_CTX *store) {
    std::array<char, 256> subject{}, issuer{};
    std::array<char, 4096> pem{};
    LdapSslValidity validity{};
    std::int32_t fault = 0;
    int faultSize = sizeof fault, validitySize = sizeof validity;
    berval certificate{pem.size(), pem.data()};
    const bool isTold =
        tells(store, QLDAPX_TLS_CERT_SUBJECT, subject) &&
        tells(store, QLDAPX_TLS_CERT_ISSUER, issuer) &&
        ldapssl_get_cert_attribute(store, QLDAPX_TLS_CERT_VALIDITY, &validity, &validitySize) ==
            0 &&
        ldapssl_get_cert_attribute(store, QLDAPX_TLS_CERT_VERIFY_ERROR, &fault, &faultSize) == 0 &&
        ldapssl_get_cert(store, QLDAPX_TLS_CERT_PEM, &certificate) == 0;
    ++asked;
    return isTold && fault != 0 ? 0 : 1;
}

void meetStranger(Hand &hand, const std::string &uri) {
    hand.expect("connect, not trusted", open(hand, uri)->bind(adminDn, adminPassword),
                LDAP_SERVER_DOWN);
    hand.expect("ldapssl_set_verify_callback", ldapssl_set_verify_callback(acceptStranger));
    const int before = asked;
    hand.expect("connect, by callback", open(hand, uri)->bind(adminDn, adminPassword));
    hand.verify(asked > before, "the callback was not asked");
    hand.expect("ldapssl_set_verify_mode", ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE));
    hand.expect("connect, not verified", open(hand, uri)->bind(adminDn, adminPassword));
    int mode = -1;
    hand.expect("ldapssl_set_verify_mode", ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_PEER));
    hand.expect("ldapssl_get_verify_mode", ldapssl_get_verify_mode(&mode));
    hand.verify(mode == QLDAPX_TLS_VERIFY_PEER, "another mode of verification");
}

void refuseNonsense(Hand &hand) {
    char nonsense[] = "no certificate";
    const berval buffer{sizeof nonsense - 1, nonsense};
    hand.expect("ldapssl_add_trusted_cert",
                ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_PEM), -1);
    hand.expect("ldapssl_set_client_cert",
                ldapssl_set_client_cert(nullptr, QLDAPX_TLS_FILE_PEM, nullptr), LDAP_PARAM_ERROR);
}

} // namespace

const int clientSources = std::size(sources);

// Trusts the server at each moment, because other threads connect meanwhile.
void renewContext(Hand &hand, const TlsMaterial &material, int source) {
    hand.closeSession();
    hand.expect("ldapssl_client_init", ldapssl_client_init(material.ca.c_str()));
    hand.expect("ldapssl_add_trusted_cert",
                ldapssl_add_trusted_cert(material.ca.c_str(), QLDAPX_TLS_FILE_PEM));
    showClient(hand, material, sources[source]);
    bindByCertificate(hand);
    meetStranger(hand, material.strangersUri);
    refuseNonsense(hand);
    hand.expect("ldapssl_client_deinit", ldapssl_client_deinit());
    hand.expect("ldapssl_client_init", ldapssl_client_init(material.ca.c_str()));
}

} // namespace soak
