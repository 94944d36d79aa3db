#include "ssl/resumption.h"

#include "ssl/handles.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>

namespace qldapx {
namespace {

// What a connection left, and for whom: a session is bound to the server that was verified, and to
// the certificate that the client showed.
struct Kept {
    SSL_SESSION *session;
    X509 *clientCertificate; // NULL: none
    char *peer;
};

// The context owns it. The newest ones are kept.
struct Cache {
    pthread_mutex_t mutex;
    std::array<Kept, 32> kept;
    std::size_t next;
};

void drop(Kept &kept) {
    SSL_SESSION_free(kept.session);
    X509_free(kept.clientCertificate);
    std::free(kept.peer);
    kept = {};
}

void releaseCache(void * /*parent*/, void *cache, CRYPTO_EX_DATA * /*data*/, int /*index*/,
                  long /*number*/, void * /*argument*/) {
    if (cache == nullptr)
        return;
    auto &sessions = *static_cast<Cache *>(cache);
    std::for_each(sessions.kept.begin(), sessions.kept.end(), drop);
    pthread_mutex_destroy(&sessions.mutex);
    std::free(cache);
}

struct Indices {
    int cache; // of a context's data
    int peer;  // of a connection's
};

// Those of the process; where there was no memory for one, the next call tries again.
Indices indices() {
    constexpr int none = -1;
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static Indices indices = {none, none};
    const Lock lock(mutex);
    if (indices.cache == none)
        indices.cache = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, releaseCache);
    if (indices.peer == none)
        indices.peer = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return indices;
}

Cache *cacheOf(const SSL *ssl) {
    return static_cast<Cache *>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), indices().cache));
}

// Only where the verification alone decides: what a callback would say today is not known.
bool isVerified(const SSL *ssl) {
    return (SSL_get_verify_mode(ssl) & SSL_VERIFY_PEER) != 0 &&
           SSL_get_verify_callback(ssl) == nullptr;
}

bool isOver(const SSL_SESSION *session) {
    const long now = static_cast<long>(std::time(nullptr));
    const X509 *server = SSL_SESSION_get0_peer(const_cast<SSL_SESSION *>(session));
    return SSL_SESSION_get_time(session) + SSL_SESSION_get_timeout(session) <= now ||
           server == nullptr || X509_cmp_current_time(X509_get0_notAfter(server)) <= 0;
}

// None while it has no key yet: another thread may connect between the setting of both.
X509 *shownCertificate(const SSL *ssl) {
    return SSL_get_privatekey(ssl) != nullptr ? SSL_get_certificate(ssl) : nullptr;
}

bool isFor(const Kept &kept, const SSL *ssl, const char *peer) {
    return kept.session != nullptr && kept.clientCertificate == shownCertificate(ssl) &&
           std::strcmp(kept.peer, peer) == 0;
}

// A ticket of TLS 1.3 is used once, so that nobody who listens can tell who comes again (RFC 8446,
// C.4).
SslSessionPtr takeOut(Kept &kept) {
    SSL_SESSION_up_ref(kept.session);
    SslSessionPtr session(kept.session);
    if (SSL_SESSION_get_protocol_version(session.get()) >= TLS1_3_VERSION)
        drop(kept);
    return session;
}

SslSessionPtr take(Cache &cache, const SSL *ssl, const char *peer) {
    const Lock lock(cache.mutex);
    for (std::size_t age = 1; age <= cache.kept.size(); ++age) {
        Kept &kept = cache.kept[(cache.next + cache.kept.size() - age) % cache.kept.size()];
        if (!isFor(kept, ssl, peer))
            continue;
        if (isOver(kept.session))
            drop(kept);
        else
            return takeOut(kept);
    }
    return nullptr;
}

// OpenSSL calls it when the server gave a session; 1 keeps the reference that comes with it.
int keep(SSL *ssl, SSL_SESSION *session) {
    const auto *peer = static_cast<const char *>(SSL_get_ex_data(ssl, indices().peer));
    Cache *cache = cacheOf(ssl);
    if (peer == nullptr || cache == nullptr || !isVerified(ssl))
        return 0;
    char *ownPeer = strdup(peer);
    if (ownPeer == nullptr)
        return 0;
    X509 *clientCertificate = shownCertificate(ssl);
    if (clientCertificate != nullptr)
        X509_up_ref(clientCertificate);
    const Lock lock(cache->mutex);
    Kept &slot = cache->kept[cache->next];
    cache->next = (cache->next + 1) % cache->kept.size();
    drop(slot);
    slot = {session, clientCertificate, ownPeer};
    return 1;
}

} // namespace

void allowResumption(SSL_CTX *context) {
    auto *cache = static_cast<Cache *>(std::calloc(1, sizeof(Cache)));
    if (cache == nullptr)
        return;
    pthread_mutex_init(&cache->mutex, nullptr);
    if (SSL_CTX_set_ex_data(context, indices().cache, cache) != 1) {
        releaseCache(nullptr, cache, nullptr, 0, 0, nullptr);
        return;
    }
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(context, keep);
}

void resume(SSL *ssl, const char *peer) {
    Cache *cache = cacheOf(ssl);
    if (cache == nullptr || !isVerified(ssl))
        return;
    SSL_set_ex_data(ssl, indices().peer, const_cast<char *>(peer));
    if (const SslSessionPtr session = take(*cache, ssl, peer))
        SSL_set_session(ssl, session.get());
}

} // namespace qldapx
