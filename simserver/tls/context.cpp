#include "tls/context.h"

#include "files.h"

#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

namespace stratasim::tls {
namespace {

[[noreturn]] void fail(const std::string &why) {
    throw std::runtime_error("TLS: " + why);
}

void requireReadable(const std::string &path, const char *option) {
    if (!std::ifstream(path))
        fail(fmt::format("cannot read {}: {}; see {}", path, std::strerror(errno), option));
}

/** A key with a password would have OpenSSL ask for it at the terminal. */
int noPassword(char * /*buffer*/, int /*size*/, int /*writing*/, void *asked) {
    *static_cast<bool *>(asked) = true;
    return -1;
}

void useCertificate(SSL_CTX *context, const std::string &path) {
    requireReadable(path, "--tls");
    if (SSL_CTX_use_certificate_chain_file(context, path.c_str()) == 1)
        return;
    fail(fmt::format("{} holds no certificate in PEM that can be used ({}): give one with --tls, "
                     "the server's own before those of its issuers, or write --tls auto",
                     path, takeProblem()));
}

void useKey(SSL_CTX *context, const std::string &path) {
    requireReadable(path, "--tls-key");
    bool locked = false;
    SSL_CTX_set_default_passwd_cb(context, noPassword);
    SSL_CTX_set_default_passwd_cb_userdata(context, &locked);
    const bool used = SSL_CTX_use_PrivateKey_file(context, path.c_str(), SSL_FILETYPE_PEM) == 1;
    SSL_CTX_set_default_passwd_cb_userdata(context, nullptr);
    if (used)
        return;
    const bool other = ERR_GET_REASON(ERR_peek_last_error()) == X509_R_KEY_VALUES_MISMATCH;
    const std::string problem = takeProblem();
    if (locked)
        fail(fmt::format("the key in {} has a password: give it without one (openssl pkey -in)",
                         path));
    if (other)
        fail(fmt::format("the key in {} is not that of the certificate: give the one that belongs "
                         "to it with --tls-key",
                         path));
    fail(fmt::format("{} holds no private key in PEM ({}): give its file with --tls-key", path,
                     problem));
}

std::vector<std::string> ownNames(const std::string &host) {
    std::vector<std::string> names = {"localhost", "127.0.0.1", "::1"};
    std::array<char, 256> machine{};
    if (gethostname(machine.data(), machine.size() - 1) == 0 && machine[0] != '\0')
        names.emplace_back(machine.data());
    names.push_back(host);
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

SslContext makeContext() {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    require(context != nullptr, "OpenSSL");
    SSL_CTX *raw = context.get();
    require(SSL_CTX_set_min_proto_version(raw, TLS1_2_VERSION) == 1, "TLS 1.2");
    SSL_CTX_set_options(raw, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    // A write that had to wait goes on from a buffer that has grown, and may have moved.
    SSL_CTX_set_mode(raw, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                              SSL_MODE_RELEASE_BUFFERS);
    // Without a context of their own sessions of clients with certificates are not resumed.
    constexpr std::array<unsigned char, 10> name = {'s', 't', 'r', 'a', 't',
                                                    'a', '-', 's', 'i', 'm'};
    require(SSL_CTX_set_session_id_context(raw, name.data(), name.size()) == 1, "sessions");
    constexpr long resumable = 2 * 60 * 60;
    SSL_CTX_set_timeout(raw, resumable);
    return context;
}

} // namespace

Context::Context(const Settings &settings, const std::string &host)
    : settings_(settings), context_(makeContext()) {
    if (settings_.isAuto())
        useOwn(host);
    else
        useFiles();
    if (settings_.asksClients())
        verifyClients();
}

void Context::useOwn(const std::string &host) {
    authority_.emplace();
    const Credential own = authority_->issueServer(ownNames(host), settings_.flaw);
    require(SSL_CTX_use_certificate(context_.get(), own.certificate.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context_.get(), own.key.get()) == 1,
            "using the certificate");
}

void Context::useFiles() {
    useCertificate(context_.get(), settings_.certificate);
    useKey(context_.get(), settings_.key.empty() ? settings_.certificate : settings_.key);
}

void Context::verifyClients() {
    SSL_CTX *raw = context_.get();
    const std::string &path = settings_.clientCa;
    if (!path.empty()) {
        requireReadable(path, "--tls-client-ca");
        STACK_OF(X509_NAME) *issuers = SSL_load_client_CA_file(path.c_str());
        SSL_CTX_set_client_CA_list(raw, issuers); // and owns it
        if (issuers == nullptr || SSL_CTX_load_verify_file(raw, path.c_str()) != 1)
            fail(fmt::format("{} holds no certificate in PEM ({}): give those of the CAs that "
                             "issue clients' certificates with --tls-client-ca",
                             path, takeProblem()));
    }
    if (!settings_.clientFile.empty())
        require(X509_STORE_add_cert(SSL_CTX_get_cert_store(raw), authority_->certificate()) == 1 &&
                    SSL_CTX_add_client_CA(raw, authority_->certificate()) == 1,
                "the CA of clients");
    SSL_CTX_set_verify(
        raw, SSL_VERIFY_PEER | (settings_.requireClient ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT : 0),
        nullptr);
}

Ssl Context::accept(int socket) const {
    Ssl ssl(SSL_new(context_.get()));
    if (ssl == nullptr || SSL_set_fd(ssl.get(), socket) != 1)
        throw std::bad_alloc();
    SSL_set_accept_state(ssl.get());
    return ssl;
}

std::chrono::seconds Context::handshakeTime() const {
    return std::chrono::seconds(settings_.handshakeSeconds);
}

void Context::writeFiles() const {
    constexpr mode_t secret = 0600;
    if (!settings_.caFile.empty())
        writeWhole(settings_.caFile, pemOf(authority_->certificate()));
    if (settings_.clientFile.empty())
        return;
    const Credential client = authority_->issueClient();
    writeWhole(settings_.clientFile, pemOf(client.certificate.get()) + pemOf(client.key.get()),
               secret);
}

} // namespace stratasim::tls
