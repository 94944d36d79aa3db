// The TLS client context: made, set up and asked.
#include "memory/rows.h"
#include "memory/tls_watch.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/source.h"
#include "tls/sources/verification.h"

#include <openssl/ssl.h>

namespace qldapx_test::memory {
namespace {

using namespace tls;

constexpr char password[] = "secret";
constexpr long stride = 97;

// A context of the trial's own, and what it gives back is none of the trial's.
class Context {
  public:
    Context() { EXPECT_EQ(ldapssl_client_init(nullptr), 0); }
    ~Context() { ldapssl_client_deinit(); }
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
};

void makeContext(Trial &trial, const char *trustFile) {
    const TlsWatch watch(trial);
    const int result =
        trial.codeOr(-1, "ldapssl_client_init", [&] { return ldapssl_client_init(trustFile); });
    trial.expect((g_CryptCtx != nullptr) == (result == 0), "another context");
    trial.codeOr(-1, "ldapssl_client_deinit", [&] { return ldapssl_client_deinit(); });
}

int acceptAll(X509_STORE_CTX * /*store*/) {
    return 0;
}

void setModes(Trial &trial) {
    const TlsWatch watch(trial);
    const Context context;
    int mode = 0;
    trial.codeOr(-1, "ldapssl_set_verify_mode", [] { return ldapssl_set_verify_mode(1); });
    trial.codeOr(-1, "ldapssl_get_verify_mode", [&] { return ldapssl_get_verify_mode(&mode); });
    trial.codeOr(-1, "ldapssl_set_verify_callback",
                 [] { return ldapssl_set_verify_callback(acceptAll); });
    trial.expect(trial.call("verify_callback", [] { return verify_callback(1, nullptr); }) == 1,
                 "another verdict");
}

struct Setting {
    const char *function;
    int (*set)(const void *source, int type);
    int type;
    Bytes bytes;
    int failure;
};

int setCertificate(const void *source, int type) {
    return ldapssl_set_client_cert(source, type, password);
}

int setKey(const void *source, int type) {
    return ldapssl_set_client_private_key(source, type, password);
}

const Bytes clearPkcs12 =
    pkcs12({safe({nestedBag({certificateBag(derOf(clientCertificate), named("n") + keyId("k"))}),
                  keyBag(derOf(clientKey), attribute("1.2.3.4", {}))})});

const Setting settings[] = {
    {"ldapssl_add_trusted_cert", ldapssl_add_trusted_cert, QLDAPX_TLS_BUFFER_PEM,
     clientCertificate + otherCertificate, -1},
    {"ldapssl_add_trusted_cert", ldapssl_add_trusted_cert, QLDAPX_TLS_BUFFER_DER,
     derOf(clientCertificate), -1},
    {"ldapssl_set_client_cert", setCertificate, QLDAPX_TLS_BUFFER_PEM, clientCertificate, 1},
    {"ldapssl_set_client_cert", setCertificate, QLDAPX_TLS_BUFFER_DER, derOf(clientCertificate), 1},
    {"ldapssl_set_client_cert", setCertificate, QLDAPX_TLS_BUFFER_PKCS12, clearPkcs12, 1},
    {"ldapssl_set_client_cert", setCertificate, QLDAPX_TLS_BUFFER_PKCS12, modernPkcs12(), 1},
    {"ldapssl_set_client_private_key", setKey, QLDAPX_TLS_BUFFER_PEM, clientKey, 1},
    {"ldapssl_set_client_private_key", setKey, QLDAPX_TLS_BUFFER_PEM, encryptedKey, 1},
    {"ldapssl_set_client_private_key", setKey, QLDAPX_TLS_BUFFER_PKCS12, clearPkcs12, 1},
    {"ldapssl_set_client_private_key", setKey, QLDAPX_TLS_BUFFER_PKCS12, modernPkcs12(), 1},
};

void set(Trial &trial, const Setting &setting) {
    const TlsWatch watch(trial);
    const Context context;
    const berval value = {setting.bytes.size(), const_cast<char *>(setting.bytes.data())};
    trial.codeOr(setting.failure, setting.function,
                 [&] { return setting.set(&value, setting.type); });
    trial.expect(SSL_CTX_get_default_passwd_cb_userdata(g_CryptCtx) == nullptr,
                 "the password is kept");
}

void setFromFiles(Trial &trial) {
    static const Folder folder;
    static const std::string certificate = folder.write("certificate", clientCertificate);
    static const std::string key = folder.write("key", clientKey);
    const TlsWatch watch(trial);
    const Context context;
    trial.codeOr(-1, "ldapssl_add_trusted_cert", [&] {
        return ldapssl_add_trusted_cert(certificate.c_str(), QLDAPX_TLS_FILE_PEM);
    });
    trial.codeOr(1, "ldapssl_set_client_cert", [&] {
        return ldapssl_set_client_cert(certificate.c_str(), QLDAPX_TLS_FILE_PEM, nullptr);
    });
    trial.codeOr(1, "ldapssl_set_client_private_key", [&] {
        return ldapssl_set_client_private_key(key.c_str(), QLDAPX_TLS_FILE_PEM, nullptr);
    });
}

void openFile(Trial &trial) {
    static const Folder folder;
    static const std::string path = folder.write("key", clientKey);
    const TlsWatch watch(trial);
    BIO_free(trial.pointer("file_to_BIO", [&] { return file_to_BIO(path.c_str()); }));
}

void addAnchor(Trial &trial) {
    static const X509Ptr certificate = certificateIn(clientCertificate);
    const TlsWatch watch(trial);
    const Context context;
    trial.codeOr(-1, "add_cert", [&] { return add_cert(certificate.get()); });
}

void inspect(Trial &trial, int format) {
    static const X509Ptr certificate = certificateIn(clientCertificate);
    static const Current current(certificate.get());
    const TlsWatch watch(trial);
    char text[1000];
    berval output = {sizeof text, text};
    const int result = trial.codeOr(-1, "ldapssl_get_cert",
                                    [&] { return ldapssl_get_cert(current, format, &output); });
    trial.expect((output.bv_len == 0) == (result != 0), "another output");
}

void inspectAttribute(Trial &trial, int attribute) {
    static const X509Ptr certificate = certificateIn(clientCertificate);
    static const Current current(certificate.get());
    const TlsWatch watch(trial);
    char text[100] = {};
    int length = sizeof text;
    const int result = trial.codeOr(-1, "ldapssl_get_cert_attribute", [&] {
        return ldapssl_get_cert_attribute(current, attribute, text, &length);
    });
    trial.expect((length == sizeof text) == (result != 0), "another output");
}

// Their results are 1 and 0. What BIO_printf has no memory for is missing from the text.
template <class Call>
void writeWith(Trial &trial, const char *function, Call call) {
    trial.codeOr(-1, function, [&] { return call() == 1 ? 0 : -1; });
}

void dump(Trial &trial) {
    static const X509Ptr certificate = certificateIn(clientCertificate);
    const TlsWatch watch(trial);
    const BioPtr output(BIO_new(BIO_s_mem()));
    const BioPtr input(BIO_new_mem_buf(clearPkcs12.data(), static_cast<int>(clearPkcs12.size())));
    writeWith(trial, "hex_prin", [&] {
        return hex_prin(output.get(), reinterpret_cast<const unsigned char *>(password), 6);
    });
    writeWith(trial, "dump_cert_text",
              [&] { return dump_cert_text(output.get(), certificate.get()); });
    writeWith(trial, "print_attribs",
              [&] { return print_attribs(output.get(), nullptr, "Attributes"); });
    writeWith(trial, "dump_certs_keys_buf",
              [&] { return dump_certs_keys_buf(output.get(), input.get(), password); });
}

using Safes =
    std::unique_ptr<STACK_OF(PKCS7),
                    Release<[](STACK_OF(PKCS7) * safes) { sk_PKCS7_pop_free(safes, PKCS7_free); }>>;
using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Release<[](STACK_OF(PKCS12_SAFEBAG) * bags) {
                                 sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
                             }>>;

void dumpParts(Trial &trial) {
    static const auto *bytes = reinterpret_cast<const unsigned char *>(clearPkcs12.data());
    const TlsWatch watch(trial);
    const unsigned char *at = bytes;
    const Pkcs12Ptr whole(d2i_PKCS12(nullptr, &at, static_cast<long>(clearPkcs12.size())));
    const Safes safes(PKCS12_unpack_authsafes(whole.get()));
    const Bags bags(PKCS12_unpack_p7data(sk_PKCS7_value(safes.get(), 0)));
    const BioPtr output(BIO_new(BIO_s_mem()));
    writeWith(trial, "dump_certs_keys_p12",
              [&] { return dump_certs_keys_p12(output.get(), whole.get(), password); });
    writeWith(trial, "dump_certs_pkeys_bags",
              [&] { return dump_certs_pkeys_bags(output.get(), bags.get(), password); });
    writeWith(trial, "dump_certs_pkeys_bag", [&] {
        return dump_certs_pkeys_bag(output.get(), sk_PKCS12_SAFEBAG_value(bags.get(), 0), password);
    });
}

void toClear(Trial &trial, const Bytes &bytes) {
    const TlsWatch watch(trial);
    const BioPtr input(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    BIO_free(trial.pointer(
        "pkcs12_BIO_to_clear_BIO", [&] { return pkcs12_BIO_to_clear_BIO(input.get(), password); },
        Without::mayGoOn));
}

void addInspection(Rows &rows) {
    for (int format : {QLDAPX_TLS_CERT_PEM, QLDAPX_TLS_CERT_DER})
        rows.push_back({"certificate", [format](Trial &trial) { inspect(trial, format); }, stride});
    for (int attribute :
         {QLDAPX_TLS_CERT_ISSUER, QLDAPX_TLS_CERT_SUBJECT, QLDAPX_TLS_CERT_VALIDITY})
        rows.push_back({"attribute",
                        [attribute](Trial &trial) { inspectAttribute(trial, attribute); }, stride});
    rows.push_back({"text of a PKCS #12", dump, stride});
    rows.push_back({"text of its parts", dumpParts, stride});
    rows.push_back(
        {"PKCS #12 in clear", [](Trial &trial) { toClear(trial, clearPkcs12); }, stride});
    rows.push_back(
        {"PKCS #12, encrypted", [](Trial &trial) { toClear(trial, modernPkcs12()); }, stride});
}

} // namespace

void addTlsSettings(Rows &rows) {
    rows.push_back({"context", [](Trial &trial) { makeContext(trial, nullptr); }, stride});
    rows.push_back({"context with a file",
                    [](Trial &trial) {
                        static const Folder folder;
                        static const std::string path = folder.write("anchors", clientCertificate);
                        makeContext(trial, path.c_str());
                    },
                    stride});
    rows.push_back({"modes", setModes, stride});
    for (const Setting &setting : settings)
        rows.push_back(
            {setting.function, [&setting](Trial &trial) { set(trial, setting); }, stride});
    rows.push_back({"files", setFromFiles, stride});
    rows.push_back({"file", openFile});
    rows.push_back({"anchor", addAnchor, stride});
    addInspection(rows);
}

} // namespace qldapx_test::memory
