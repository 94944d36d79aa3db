// libldap's and OpenSSL's own functions, without this library: what they do themselves when memory
// runs out.
#include "memory/prepared.h"
#include "memory/rows.h"
#include "support/tls_material.h"
#include "tls/authority.h"
#include "tls/sources/crypto.h"
#include "tls/tls_server.h"

#include <ldap_schema.h>
#include <openssl/crypto.h>
#include <openssl/ssl.h>
#include <poll.h>

namespace qldapx_test::memory {
namespace {

const Bytes emptyAnswer = extendedResponse(0, "1.2", Bytes("value"));

using Work = std::function<int(LDAP *ld)>;

// ModifyResponse ::= [APPLICATION 7] LDAPResult, BindResponse [APPLICATION 1] alike.
Bytes resultOf(unsigned char tag) {
    return tlv(tag, fromHex("0a 01 00 04 00 04 00"));
}

void converse(Trial &trial, const char *function, const std::vector<Bytes> &answer,
              const Work &work) {
    const Watch watch(trial);
    const Prepared session(answer);
    trial.code(
        function, [&] { return work(session); }, Without::mayGoOn);
}

void add(Rows &rows, const char *function, const std::vector<Bytes> &answer, const Work &work) {
    rows.push_back({function, [function, answer, work](Trial &trial) {
                        converse(trial, function, answer, work);
                    }});
}

int extend(LDAP *ld) {
    char *oid = nullptr;
    berval request = {3, const_cast<char *>("abc")}, *value = nullptr;
    const int result =
        ldap_extended_operation_s(ld, "1.2", &request, nullptr, nullptr, &oid, &value);
    ldap_memfree(oid);
    ber_bvfree(value);
    return result;
}

int search(LDAP *ld) {
    char name[] = "cn", *attributes[] = {name, nullptr};
    LDAPMessage *result = nullptr;
    const int code = ldap_search_ext_s(ld, "o=x", LDAP_SCOPE_BASE, "(&(cn=a)(sn=b))", attributes, 0,
                                       nullptr, nullptr, nullptr, 0, &result);
    ldap_msgfree(result);
    return code;
}

int modify(LDAP *ld) {
    char type[] = "cn", value[] = "a", *values[] = {value, nullptr};
    LDAPMod mod = {LDAP_MOD_ADD, type, {values}};
    LDAPMod *mods[] = {&mod, nullptr};
    return ldap_modify_ext_s(ld, "o=x", mods, nullptr, nullptr);
}

int bind(LDAP *ld) {
    berval none = {0, nullptr};
    return ldap_sasl_bind_s(ld, nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr, nullptr);
}

int sendRequest(LDAP *ld) {
    int id = 0;
    return ldap_extended_operation(ld, "1.2", nullptr, nullptr, nullptr, &id);
}

// Without waiting for it, and what it said parsed.
void parse(Trial &trial) {
    const Watch watch(trial);
    const Prepared session({emptyAnswer});
    LDAPMessage *message = nullptr;
    int id = 0, code = 0;
    ldap_extended_operation(session, "1.2", nullptr, nullptr, nullptr, &id);
    ldap_result(session, id, LDAP_MSG_ONE, nullptr, &message);
    char *text = nullptr;
    trial.code(
        "libldap:ldap_parse_result",
        [&] {
            return ldap_parse_result(session, message, &code, nullptr, &text, nullptr, nullptr, 0);
        },
        Without::mayGoOn);
    ldap_memfree(text);
    ldap_msgfree(message);
}

void initialize(Trial &trial) {
    const Watch watch(trial);
    LDAP *ld = nullptr;
    const int result = trial.code("libldap:ldap_initialize",
                                  [&] { return ldap_initialize(&ld, "ldaps://localhost:636"); });
    if (result == LDAP_SUCCESS)
        ldap_unbind_ext(ld, nullptr, nullptr);
}

// The same bind as the first operation, which connects; nobody answers.
void connectAndBind(Trial &trial) {
    static const test::Listener listener;
    const Watch watch(trial);
    LDAP *ld = nullptr;
    const std::string url = "ldap://127.0.0.1:" + std::to_string(listener.port());
    EXPECT_EQ(ldap_initialize(&ld, url.c_str()), LDAP_SUCCESS);
    trial.code(
        "libldap:ldap_sasl_bind_s",
        [&] {
            berval none = {0, nullptr};
            int id = 0;
            return ldap_sasl_bind(ld, nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr, &id);
        },
        Without::mayGoOn);
    ldap_unbind_ext(ld, nullptr, nullptr);
    pollfd waiting = {listener.socket(), POLLIN, 0};
    if (poll(&waiting, 1, 0) == 1)
        close(accept(listener.socket(), nullptr, nullptr));
}

void addConversations(Rows &rows) {
    rows.push_back({"libldap:connection", connectAndBind});
    rows.push_back({"libldap:ldap_initialize", initialize});
    add(rows, "libldap:ldap_extended_operation_s", {emptyAnswer}, extend);
    add(rows, "libldap:ldap_extended_operation", {}, sendRequest);
    add(rows, "libldap:ldap_search_ext_s", {searchEntry("o=x"), searchDone(LDAP_SUCCESS)}, search);
    add(rows, "libldap:ldap_modify_ext_s", {resultOf(0x67)}, modify);
    add(rows, "libldap:ldap_sasl_bind_s", {resultOf(0x61)}, bind);
    rows.push_back({"libldap:ldap_parse_result", parse});
}

// OpenSSL keeps some memory for the thread: nothing at both ends.
class OpenSslWatch {
  public:
    explicit OpenSslWatch(Trial &trial) : watch_((OPENSSL_thread_stop(), trial)) {}
    ~OpenSslWatch() { OPENSSL_thread_stop(); }
    OpenSslWatch(const OpenSslWatch &) = delete;
    OpenSslWatch &operator=(const OpenSslWatch &) = delete;

  private:
    Watch watch_;
};

void readKey(Trial &trial) {
    const OpenSslWatch watch(trial);
    EVP_PKEY_free(trial.pointer(
        "openssl:PEM_read_bio_PrivateKey", [] { return tls::keyIn(tls::clientKey).release(); },
        Without::mayGoOn));
}

void readCertificate(Trial &trial) {
    const OpenSslWatch watch(trial);
    const tls::X509Ptr certificate(trial.pointer(
        "openssl:PEM_read_bio_X509",
        [] { return tls::certificateIn(tls::clientCertificate).release(); }, Without::mayGoOn));
}

void writeKey(Trial &trial) {
    static const tls::KeyPtr key = tls::keyIn(tls::clientKey);
    const OpenSslWatch watch(trial);
    const tls::BioPtr output(BIO_new(BIO_s_mem()));
    trial.codeOr(-1, "openssl:PEM_write_bio_PrivateKey", [&] {
        return PEM_write_bio_PrivateKey(output.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                        nullptr) == 1
                   ? 0
                   : -1;
    });
}

// A client that requires a host of a server that has another one, over memory.
class Handshake {
  public:
    explicit Handshake(const char *host)
        : host_(host), server_(SSL_CTX_new(TLS_server_method())),
          client_(SSL_CTX_new(TLS_client_method())) {
        const test::Issued issued = authority_.issue({"s", "IP:127.0.0.2,DNS:other.example.com"});
        SSL_CTX_use_certificate(server_.get(), issued.certificate.get());
        SSL_CTX_use_PrivateKey(server_.get(), issued.key.get());
        SSL_CTX_set_verify(client_.get(), SSL_VERIFY_PEER, nullptr);
        X509_STORE_add_cert(SSL_CTX_get_cert_store(client_.get()),
                            authority_.own().certificate.get());
    }

    // Whether the client takes the server for the one that it wants.
    bool isAccepted(Trial &trial) const {
        const SslPtr server(SSL_new(server_.get())), client(SSL_new(client_.get()));
        BIO *ends[2] = {};
        BIO_new_bio_pair(&ends[0], 0, &ends[1], 0);
        SSL_set_bio(server.get(), ends[0], ends[0]);
        SSL_set_bio(client.get(), ends[1], ends[1]);
        SSL_set_accept_state(server.get());
        X509_VERIFY_PARAM *parameters = SSL_get0_param(client.get());
        if (X509_VERIFY_PARAM_set1_ip_asc(parameters, host_) != 1) {
            X509_VERIFY_PARAM_set1_host(parameters, host_, 0);
            X509_VERIFY_PARAM_add1_host(parameters, "another", 0);
        }
        bool isAccepted = false;
        for (int round = 0; round < 4 && !isAccepted; ++round) {
            isAccepted =
                trial.call("openssl:SSL_connect", [&] { return SSL_connect(client.get()); }) == 1;
            SSL_do_handshake(server.get());
        }
        return isAccepted;
    }

  private:
    using ContextPtr = std::unique_ptr<SSL_CTX, tls::Release<SSL_CTX_free>>;
    using SslPtr = std::unique_ptr<SSL, tls::Release<SSL_free>>;

    const char *host_;
    test::Authority authority_;
    ContextPtr server_, client_;
};

// OpenSSL forgets the host that it has no memory for, and accepts.
void shakeHands(Trial &trial, const Handshake &handshake) {
    const OpenSslWatch watch(trial);
    trial.expect(!handshake.isAccepted(trial), "accepts another host");
}

void addOpenSsl(Rows &rows) {
    constexpr long stride = 97;
    rows.push_back({"key", readKey, stride});
    rows.push_back({"certificate", readCertificate, stride});
    rows.push_back({"key's PEM", writeKey, stride});
    rows.push_back({"handshake with an address",
                    [](Trial &trial) {
                        static const Handshake handshake("127.0.0.1");
                        shakeHands(trial, handshake);
                    },
                    stride});
    rows.push_back({"handshake with a name",
                    [](Trial &trial) {
                        static const Handshake handshake("localhost");
                        shakeHands(trial, handshake);
                    },
                    stride});
}

} // namespace

void addNeighbours(Rows &rows) {
    addConversations(rows);
    addOpenSsl(rows);
}

} // namespace qldapx_test::memory
