// Contexts that come and go while sessions live, many sessions, many threads.
#include "directory.h"
#include "session_check.h"
#include "tls_client.h"
#include "tls_relay.h"
#include "tls_slapd.h"

#include <atomic>
#include <dlfcn.h>
#include <malloc.h>
#include <openssl/ssl.h>
#include <qldapx/state.h>
#include <qldapx/tls.h>
#include <thread>
#include <utility>

namespace {

bool isToBeReplaced = false; // by the next that makes a connection's TLS
bool isReplaced = false;
bool isFreed = false;
bool wasFreed = false; // before its use

void noteFreed(void * /*parent*/, void *mark, CRYPTO_EX_DATA * /*data*/, int /*index*/,
               long /*argument*/, void * /*unused*/) {
    isFreed = isFreed || mark != nullptr;
}

// As other threads may, between the reading of the context and its use; but not while the library
// keeps them out.
void replaceTwice(SSL_CTX *context) {
    static const int mark = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, noteFreed);
    SSL_CTX_set_ex_data(context, mark, &isReplaced);
    const std::string file = test::tlsFile("ca.pem");
    if (pthread_mutex_trylock(&g_Sync) != 0)
        return;
    pthread_mutex_unlock(&g_Sync);
    isReplaced = ldapssl_client_init(file.c_str()) == 0 && ldapssl_client_init(file.c_str()) == 0;
    wasFreed = isFreed;
}

} // namespace

// libldap, or the library, makes each connection's TLS with it. Exported by the program.
extern "C" SSL *SSL_new(SSL_CTX *context) {
    static auto *const next = reinterpret_cast<decltype(&SSL_new)>(dlsym(RTLD_NEXT, "SSL_new"));
    if (std::exchange(isToBeReplaced, false))
        replaceTwice(context);
    return wasFreed ? nullptr : next(context);
}

namespace test {
namespace {

constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";

class TlsLifecycle : public WithTls {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>(); }
    static void TearDownTestSuite() { server.reset(); }

    static inline std::unique_ptr<TlsSlapd> server;
};

TEST_F(TlsLifecycle, SessionsFromBeforeTheContext) {
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    SessionPtr early = newSession(server->tlsUri());
    ASSERT_EQ(ldapssl_client_init(tlsFile("ca.pem").c_str()), 0);
    EXPECT_EQ(attempt(early.get()).result, LDAP_SUCCESS) << diagnosticOf(early.get());
}

TEST_F(TlsLifecycle, SessionsGoOnAndConnectAfterTheEnd) {
    trust("ca.pem");
    SessionPtr live = newSession(server->tlsUri()), late = newSession(server->tlsUri());
    ASSERT_EQ(attempt(live.get()).result, LDAP_SUCCESS);
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    expectSearchWorks(live.get(), ada);
    EXPECT_EQ(attempt(late.get()).result, LDAP_SUCCESS) << diagnosticOf(late.get());
    expectConnects(server->tlsUri());
    EXPECT_EQ(ldapssl_client_deinit(), -1);
}

// Servers are verified as before once the context is gone, with what it trusted.
TEST_F(TlsLifecycle, EndIsNoEndOfVerification) {
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    expectRefused(attempt(server->tlsUri()), "certificate verify failed");
}

TEST_F(TlsLifecycle, SessionsGoOnWhenTheContextIsReplaced) {
    trust("ca.pem");
    SessionPtr live = newSession(server->tlsUri());
    ASSERT_EQ(attempt(live.get()).result, LDAP_SUCCESS);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(ldapssl_client_init(nullptr), 0);
        expectSearchWorks(live.get(), ada);
        expectRefused(attempt(server->tlsUri()), "certificate verify failed");
    }
    ASSERT_EQ(ldapssl_client_init(tlsFile("ca.pem").c_str()), 0);
    expectConnects(server->tlsUri());
    expectSearchWorks(live.get(), ada);
}

// libldap with OpenSSL does not connect a second time.
using TlsCarriedLifecycle = TlsLifecycle;

TEST_F(TlsCarriedLifecycle, ReconnectTakesTheContextThatIsNew) {
    trust("ca.pem");
    SessionPtr session = newSession(server->tlsUri());
    ASSERT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    server->restart();
    awaitEnd(session.get());
    expectRefused(attempt(session.get()), "certificate verify failed");
}

TEST_F(TlsLifecycle, SixThreadsWithSessionsOfTheirOwn) {
    trust("ca.pem");
    std::vector<std::thread> threads;
    for (int number = 0; number < 6; ++number)
        threads.emplace_back([] {
            SessionPtr kept = newSession(server->tlsUri());
            for (int round = 0; round < 20; ++round) {
                SessionPtr own = newSession(server->tlsUri());
                EXPECT_EQ(attempt(own.get()).result, LDAP_SUCCESS) << diagnosticOf(own.get());
                expectSearchWorks(own.get(), ada);
                expectSearchWorks(kept.get(), ada);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

// Replacing the context is what may be done while others connect.
TEST_F(TlsLifecycle, ThreadsConnectWhileTheContextIsReplaced) {
    trust("ca.pem");
    const std::string file = tlsFile("ca.pem");
    std::atomic<bool> done = false;
    std::thread replacing([&] {
        while (!done)
            EXPECT_EQ(ldapssl_client_init(file.c_str()), 0);
    });
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([] {
            for (int round = 0; round < 40; ++round)
                expectConnects(server->tlsUri());
        });
    for (std::thread &thread : threads)
        thread.join();
    done = true;
    replacing.join();
}

// Whoever makes a connection holds its context, or keeps those out who would free it.
TEST_F(TlsLifecycle, ContextReplacedTwiceWhileAConnectionBegins) {
    trust("ca.pem");
    isToBeReplaced = true;
    expectConnects(server->tlsUri());
    EXPECT_FALSE(isToBeReplaced);
    EXPECT_FALSE(wasFreed);
    EXPECT_EQ(isReplaced, libldapHasOpenSsl());
}

// A sanitizer has an allocator of its own, and looks for leaks itself.
#ifdef __SANITIZE_ADDRESS__
constexpr int connects = 200;
std::size_t usedMemory() {
    return 0;
}
#else
constexpr int connects = 2000;
std::size_t usedMemory() {
    return mallinfo2().uordblks;
}
#endif

// What OpenSSL and the library remember is there after the first half.
TEST_F(TlsLifecycle, ThousandsOfConnectsLeaveNothing) {
    trust("ca.pem");
    std::size_t memory = 0, descriptors = 0;
    for (int i = 0; i < connects; ++i) {
        if (i == connects / 2) {
            memory = usedMemory();
            descriptors = openDescriptors();
        }
        SessionPtr session = newSession(server->tlsUri());
        ASSERT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << i;
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LT(usedMemory(), memory + 64 * 1024);
}

TEST_F(TlsLifecycle, ThousandsOfRefusalsLeaveNothing) {
    std::size_t memory = 0, descriptors = 0;
    for (int i = 0; i < connects; ++i) {
        if (i == connects / 2) {
            memory = usedMemory();
            descriptors = openDescriptors();
        }
        ASSERT_EQ(attempt(server->tlsUri()).result, LDAP_SERVER_DOWN) << i;
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_LT(usedMemory(), memory + 64 * 1024);
}

} // namespace
} // namespace test
