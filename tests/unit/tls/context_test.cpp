// The state of the process: initialised or not, context, mode, callback; and what of it libldap
// gets to see.
#include "authority.h"
#include "support/expected_leak.h"
#include "temporary_file.h"

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/rand.h>
#include <qldapx.h>
#include <qldapx/tls_certificate.h>

namespace {

using namespace test;

// What the library gives OpenSSL as seed; the real function gets it, too.
std::vector<std::string> seeds;

std::string libldapsPackage() {
    char *name = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_PACKAGE, &name);
    std::string text = name;
    ldap_memfree(name);
    return text;
}

int refuseAll(X509_STORE_CTX * /*store*/) {
    return 1;
}

class TlsContext : public testing::Test {
  protected:
    ~TlsContext() override { ldapssl_client_deinit(); }
};

} // namespace

extern "C" void RAND_seed(const void *bytes, int count) {
    seeds.emplace_back(static_cast<const char *>(bytes), static_cast<std::size_t>(count));
    using Function = void(const void *, int);
    reinterpret_cast<Function *>(dlsym(RTLD_NEXT, "RAND_seed"))(bytes, count);
}

namespace {

TEST_F(TlsContext, IsNotThereAtFirst) {
    EXPECT_EQ(g_SSLReg, 0);
    EXPECT_EQ(g_CryptCtx, nullptr);
    EXPECT_EQ(g_pCertCallback, nullptr);
    EXPECT_EQ(g_pCertAlertCB, nullptr);
    EXPECT_EQ(g_pSockets, nullptr);
    EXPECT_EQ(g_MaxSockets, 0);
    EXPECT_EQ(randbuf, nullptr);
}

void expectNothingToWorkOn() {
    const Authority authority;
    const std::string bytes = authority.own().der();
    const berval buffer = {bytes.size(), const_cast<char *>(bytes.data())};
    int mode = 7;
    EXPECT_EQ(ldapssl_client_deinit(), -1);
    EXPECT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_PEER), -1);
    EXPECT_EQ(ldapssl_get_verify_mode(&mode), -1);
    EXPECT_EQ(mode, 7);
    EXPECT_EQ(ldapssl_set_verify_callback(refuseAll), -1);
    EXPECT_EQ(ldapssl_set_verify_callback(nullptr), -1);
    EXPECT_EQ(g_pCertCallback, nullptr);
    EXPECT_EQ(ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_DER), -1);
    EXPECT_EQ(ldapssl_set_client_cert(&buffer, QLDAPX_TLS_BUFFER_DER, nullptr), 1);
    EXPECT_EQ(ldapssl_set_client_private_key(&buffer, QLDAPX_TLS_BUFFER_PEM, nullptr), 1);
    EXPECT_EQ(add_cert(authority.own().certificate.get()), -1);
}

TEST_F(TlsContext, IsNeededByAllElse) {
    expectNothingToWorkOn();
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    expectNothingToWorkOn();
}

TEST_F(TlsContext, BeginsWithVerificationAndNothingElse) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_EQ(g_SSLReg, 1);
    ASSERT_NE(g_CryptCtx, nullptr);
    EXPECT_EQ(SSL_CTX_get_verify_mode(g_CryptCtx), SSL_VERIFY_PEER);
    EXPECT_EQ(SSL_CTX_get_verify_callback(g_CryptCtx), nullptr);
    EXPECT_EQ(SSL_CTX_get0_certificate(g_CryptCtx), nullptr);
    EXPECT_EQ(sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(g_CryptCtx))), 0);
}

// 20 bytes of the device are read, 8 of them given.
TEST_F(TlsContext, IsSeededOnceAnInitialisedPeriod) {
    seeds.clear();
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(seeds.size(), 1U);
    EXPECT_EQ(seeds[0].size(), 8U);
    EXPECT_NE(seeds[0], std::string(8, '\0'));
    EXPECT_EQ(randbuf, nullptr);
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_EQ(seeds.size(), 1U);
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(seeds.size(), 2U);
    EXPECT_NE(seeds[0], seeds[1]);
}

TEST_F(TlsContext, IsReplacedByASecondInit) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    SSL_CTX *first = g_CryptCtx;
    SSL_CTX_up_ref(first);
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_NE(g_CryptCtx, first);
    EXPECT_EQ(SSL_CTX_get_verify_mode(g_CryptCtx), SSL_VERIFY_PEER);
    SSL_CTX_free(first);
}

struct Mode {
    const char *name;
    int mode;
    int result;
    int then; // the mode afterwards
};

void PrintTo(const Mode &mode, std::ostream *out) {
    *out << mode.name;
}

class TlsMode : public testing::TestWithParam<Mode> {
  protected:
    ~TlsMode() override { ldapssl_client_deinit(); }
};

TEST_P(TlsMode, IsNoneOrPeer) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_EQ(ldapssl_set_verify_mode(GetParam().mode), GetParam().result);
    int mode = -7;
    EXPECT_EQ(ldapssl_get_verify_mode(&mode), 0);
    EXPECT_EQ(mode, GetParam().then);
}

INSTANTIATE_TEST_SUITE_P(Rows, TlsMode,
                         testing::Values(Mode{"none", 0, 0, 0}, Mode{"peer", 1, 0, 1},
                                         Mode{"two", 2, -1, 1}, Mode{"three", 3, -1, 1},
                                         Mode{"negative", -1, -1, 1}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(TlsContext, ModeNeedsAPlace) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_EQ(ldapssl_get_verify_mode(nullptr), -1);
}

TEST_F(TlsContext, CallbackIsSetAndTakenAway) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    ASSERT_EQ(ldapssl_set_verify_callback(refuseAll), 0);
    EXPECT_EQ(g_pCertCallback, refuseAll);
    EXPECT_EQ(SSL_CTX_get_verify_mode(g_CryptCtx), SSL_VERIFY_PEER);
    EXPECT_EQ(SSL_CTX_get_verify_callback(g_CryptCtx), verify_callback);
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    EXPECT_EQ(SSL_CTX_get_verify_callback(g_CryptCtx), nullptr);
    EXPECT_EQ(g_pCertCallback, refuseAll) << "only the context forgets it";
    ASSERT_EQ(ldapssl_set_verify_callback(nullptr), 0);
    EXPECT_EQ(g_pCertCallback, nullptr);
    EXPECT_EQ(SSL_CTX_get_verify_mode(g_CryptCtx), SSL_VERIFY_PEER);
    EXPECT_EQ(SSL_CTX_get_verify_callback(g_CryptCtx), nullptr);
}

TEST_F(TlsContext, DeinitTakesTheCallbackAway) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(ldapssl_set_verify_callback(refuseAll), 0);
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    EXPECT_EQ(g_pCertCallback, nullptr);
    EXPECT_EQ(g_CryptCtx, nullptr);
    EXPECT_EQ(g_SSLReg, 0);
}

// What the application's callback answers, and whether it was asked with the lock free.
int applicationsAnswer = 0;
int questions = 0;

int answer(X509_STORE_CTX * /*store*/) {
    ++questions;
    EXPECT_EQ(pthread_mutex_trylock(&g_Sync), 0);
    pthread_mutex_unlock(&g_Sync);
    return applicationsAnswer;
}

struct Verdict {
    const char *name;
    int preverifyOk;
    bool hasStore;
    bool hasCallback;
    int answer;
    int result;
    int questions;
};

void PrintTo(const Verdict &verdict, std::ostream *out) {
    *out << verdict.name;
}

class TlsVerdict : public testing::TestWithParam<Verdict> {};

TEST_P(TlsVerdict, AsksOnlyAboutFaults) {
    const Verdict &row = GetParam();
    const std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>> store(X509_STORE_CTX_new());
    applicationsAnswer = row.answer;
    questions = 0;
    g_pCertCallback = row.hasCallback ? answer : nullptr;
    EXPECT_EQ(verify_callback(row.preverifyOk, row.hasStore ? store.get() : nullptr), row.result);
    EXPECT_EQ(questions, row.questions);
    g_pCertCallback = nullptr;
}

INSTANTIATE_TEST_SUITE_P(Rows, TlsVerdict,
                         testing::Values(Verdict{"fine", 1, true, true, 1, 1, 0},
                                         Verdict{"fineWithAnotherNumber", 5, true, true, 1, 5, 0},
                                         Verdict{"accepted", 0, true, true, 0, 1, 1},
                                         Verdict{"refused", 0, true, true, 1, 0, 1},
                                         Verdict{"refusedByAnother", 0, true, true, -3, 0, 1},
                                         Verdict{"noCallback", 0, true, false, 0, 0, 0},
                                         Verdict{"noStore", 0, false, true, 0, 0, 0}),
                         [](const auto &row) { return std::string(row.param.name); });

struct TrustFile {
    const char *name;
    std::string content;
    int result;
    int anchors;
};

void PrintTo(const TrustFile &file, std::ostream *out) {
    *out << file.name;
}

std::vector<TrustFile> trustFiles() {
    const Issued one = Authority("One").issue();
    const Issued two = Authority("Two").issue();
    return {{"der", one.der(), 0, 1},
            {"pem", one.pem(), 0, 1},
            {"bundle", one.pem() + "two:\n" + two.pem(), 0, 2},
            {"empty", "", -1, 0},
            {"garbage", "no certificate\n", -1, 0},
            {"key", one.keyPem(), -1, 0}};
}

class TlsTrustFile : public testing::TestWithParam<TrustFile> {
  protected:
    ~TlsTrustFile() override { ldapssl_client_deinit(); }
};

TEST_P(TlsTrustFile, IsLoadedOrRefused) {
    const TemporaryFile file(GetParam().content);
    ASSERT_EQ(ldapssl_client_init(file.path()), GetParam().result);
    EXPECT_EQ(g_SSLReg, 1);
    if (GetParam().result == 0) {
        EXPECT_EQ(sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(g_CryptCtx))),
                  GetParam().anchors);
    } else {
        EXPECT_EQ(g_CryptCtx, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TlsTrustFile, testing::ValuesIn(trustFiles()),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(TlsContext, TrustFileThatIsMissingIsNone) {
    EXPECT_EQ(ldapssl_client_init("/nowhere/anchors.pem"), 0);
    EXPECT_NE(g_CryptCtx, nullptr);
}

TEST_F(TlsContext, TrustFileThatIsAFolderIsRefused) {
    EXPECT_EQ(ldapssl_client_init("/tmp"), -1);
}

// The context from before stays, with all that was set on it.
TEST_F(TlsContext, FailedInitChangesNothing) {
    const TemporaryFile empty("");
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(ldapssl_set_verify_callback(refuseAll), 0);
    SSL_CTX *context = g_CryptCtx;
    EXPECT_EQ(ldapssl_client_init(empty.path()), -1);
    EXPECT_EQ(g_CryptCtx, context);
    EXPECT_EQ(g_pCertCallback, refuseAll);
}

TEST_F(TlsContext, FailedFirstInitCanBeEnded) {
    const TemporaryFile empty("");
    ASSERT_EQ(ldapssl_client_init(empty.path()), -1);
    EXPECT_EQ(g_SSLReg, 1);
    int mode = 0;
    EXPECT_EQ(ldapssl_get_verify_mode(&mode), -1);
    EXPECT_EQ(ldapssl_client_deinit(), 0);
    EXPECT_EQ(g_SSLReg, 0);
}

// The attempt to read a PEM file as DER leaves nothing behind, and takes nothing of the caller's.
TEST_F(TlsContext, InitLeavesTheQueueOfErrorsAlone) {
    const TemporaryFile file(Authority().own().pem());
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    ASSERT_EQ(ldapssl_client_init(file.path()), 0);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 42);
    EXPECT_EQ(ERR_get_error(), 0U);
}

// Another libldap would write through the pointer.
TEST_F(TlsContext, OnlyALibldapWithOpenSslGetsIt) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    void *context = nullptr;
    ASSERT_EQ(ldap_get_option(nullptr, LDAP_OPT_X_TLS_CTX, &context), LDAP_OPT_SUCCESS);
    if (libldapsPackage() == "OpenSSL") {
        EXPECT_EQ(context, g_CryptCtx);
        SSL_CTX_free(static_cast<SSL_CTX *>(context)); // libldap gave a reference
    } else {
        EXPECT_EQ(context, nullptr);
    }
}

TEST_F(TlsContext, LibldapKeepsItAfterDeinit) {
    if (libldapsPackage() != "OpenSSL")
        return;
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    SSL_CTX *given = g_CryptCtx;
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    void *context = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_CTX, &context);
    EXPECT_EQ(context, given);
    SSL_CTX_free(static_cast<SSL_CTX *>(context));
}

struct Opened {
    const char *name;
    const char *host;
    int port;
    int secure;
    const char *url; // NULL: no session
};

void PrintTo(const Opened &opened, std::ostream *out) {
    *out << opened.name;
}

class TlsSession : public testing::TestWithParam<Opened> {};

TEST_P(TlsSession, HasThisUrl) {
    const qldapx_test::ExpectedLeak text; // of the URL
    const Opened &row = GetParam();
    LDAP *ld = ldapssl_init(row.host, row.port, row.secure);
    ASSERT_EQ(ld != nullptr, row.url != nullptr);
    if (ld == nullptr)
        return;
    char *url = nullptr;
    ldap_get_option(ld, LDAP_OPT_URI, &url);
    EXPECT_STREQ(url, row.url);
    ldap_memfree(url);
    ldap_unbind_ext(ld, nullptr, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TlsSession,
    testing::Values(Opened{"secure", "host.example.com", 636, 1, "ldaps://host.example.com:636"},
                    Opened{"plain", "host.example.com", 389, 0, "ldap://host.example.com:389"},
                    Opened{"anyNumberIsSecure", "h", 1, -5, "ldaps://h:1"},
                    Opened{"defaultPort", "h", 0, 1, "ldaps://h:636"},
                    Opened{"defaultPlainPort", "h", 0, 0, "ldap://h:389"},
                    Opened{"noHost", nullptr, 700, 1, "ldaps://:700"},
                    Opened{"version6", "::1", 636, 1, "ldaps://[::1]:636"},
                    Opened{"lastPort", "h", 65535, 1, "ldaps://h:65535"},
                    Opened{"beyondThePorts", "h", 65536, 1, nullptr},
                    Opened{"negativePort", "h", -1, 0, nullptr}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
