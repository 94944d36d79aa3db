#include "core/session.h"
#include "qldapx/random_pool.h"
#include "sasl/challenge.h"
#include "sasl/response.h"

#include <cstring>
#include <sys/random.h>
#include <unistd.h>

namespace qldapx {
namespace {

constexpr const char *mechanism = "DIGEST-MD5";

// What start hands out.
struct DigestBindContext {
    DigestChallenge *challenge;
    char **realms;      // one block, pointers and strings; null until somebody asks
    std::int32_t state; // open
    LDAP *session;
};

constexpr std::int32_t open = 1;

void releaseContext(DigestBindContext *bind) {
    freeDigestChallenge(bind->challenge);
    std::free(bind->realms);
    std::free(bind);
}

using ContextPtr = std::unique_ptr<DigestBindContext, Releaser<releaseContext>>;

int send(LDAP *ld, berval *credentials, int &messageId) {
    return ldap_sasl_bind(ld, nullptr, mechanism, credentials, nullptr, nullptr, &messageId);
}

// Without a time-out of its own ldap_result still obeys the session's, and gives no message then.
int await(LDAP *ld, int messageId, MessagePtr &answer) {
    LDAPMessage *message = nullptr;
    const int type = ldap_result(ld, messageId, LDAP_MSG_ALL, nullptr, &message);
    answer.reset(message);
    if (type > 0)
        return LDAP_SUCCESS;
    const int result = storedResult(ld);
    return result != LDAP_SUCCESS ? result : LDAP_TIMEOUT;
}

// The server's result code: parsing succeeds with any.
int read(LDAP *ld, const MessagePtr &answer, BervalPtr &credentials) {
    const int result = ldap_parse_sasl_bind_result(ld, answer.get(), Out(credentials), 0);
    return result != LDAP_SUCCESS ? result : storedResult(ld);
}

// How a session that waits for the proof is given up: with another first request.
int abandon(LDAP *ld) {
    int messageId = 0;
    const int result = send(ld, nullptr, messageId);
    return result != LDAP_SUCCESS ? result : LDAP_USER_CANCELLED;
}

int getChallenge(LDAP *ld, UnseenChallengePtr &challenge) {
    int messageId = 0;
    if (const int result = send(ld, nullptr, messageId); result != LDAP_SUCCESS)
        return result;
    MessagePtr answer;
    if (const int result = await(ld, messageId, answer); result != LDAP_SUCCESS)
        return result;
    BervalPtr credentials;
    const int result = read(ld, answer, credentials);
    if (result == LDAP_SUCCESS)
        return LDAP_PROTOCOL_ERROR; // nobody has proved anything
    if (result != LDAP_SASL_BIND_IN_PROGRESS)
        return result;
    return getDigestChallenge(credentials.get(), Out(challenge), 0);
}

// The pool's own start-up gathering is little, and two children of one process would get the same
// nonce. One chunk of the pool's mixing; its estimate stays as it is.
void freshenPool() {
    struct {
        unsigned char chance[12] = {};
        pid_t process = getpid();
    } fresh;
    // What the system does not give stays 0; children still differ by their number.
    [[maybe_unused]] const ssize_t given = getrandom(fresh.chance, sizeof fresh.chance, 0);
    XRAND_add(&fresh, sizeof fresh, 0.0);
}

// "host:port" without its port.
LdapStringPtr hostOf(LDAP *ld) {
    char *host = nullptr;
    ldap_get_option(ld, LDAP_OPT_HOST_NAME, &host);
    if (char *colon = host != nullptr ? std::strrchr(host, ':') : nullptr)
        *colon = '\0';
    return LdapStringPtr(host);
}

char **makeRealms(const DigestChallenge &challenge) {
    const auto count = static_cast<std::size_t>(challenge.realmCount);
    std::size_t size = (count + 1) * sizeof(char *);
    for (const DigestRealm *each = challenge.realms; each != nullptr; each = each->next)
        size += std::strlen(each->realm) + 1;
    auto *const realms = static_cast<char **>(std::malloc(size));
    if (realms == nullptr)
        return nullptr;
    char **pointer = realms;
    char *text = reinterpret_cast<char *>(realms + count + 1);
    for (const DigestRealm *each = challenge.realms; each != nullptr; each = each->next) {
        *pointer++ = text;
        text = stpcpy(text, each->realm) + 1;
    }
    *pointer = nullptr;
    return realms;
}

struct User {
    const char *name;
    const char *password;
    std::size_t passwordLength;
};

const DigestRealm *realmAt(const DigestChallenge &challenge, int index) {
    const DigestRealm *realm = challenge.realms;
    while (index-- > 0)
        realm = realm->next;
    return realm;
}

// One answer to a challenge. Released backwards: context, response, host, the server's credentials,
// realm.
struct Answer {
    LdapStringPtr realm;
    BervalPtr credentials;
    LdapStringPtr host;
    HeapPtr response;
    ContextPtr bind;
    char cnonce[nonceSize];
    bool isKept = false; // whoever waited in vain keeps the bind, and all that belongs to it stays

    [[nodiscard]] const char *hostName() const { return host ? host.get() : ""; }
    [[nodiscard]] const DigestChallenge *challenge() const { return bind->challenge; }

    void keep() {
        for (LdapStringPtr *text : {&realm, &host})
            (void)text->release();
        (void)response.release();
        (void)bind.release();
    }
};

constexpr int nonceCount = 1;

int prepare(Answer &answer, const User &user, int realmIndex, berval &response) {
    answer.realm.reset(realmAt(*answer.challenge(), realmIndex)->realm);
    freshenPool();
    if (const int result = getNonce(answer.cnonce); result != 0)
        return result;
    answer.host = hostOf(answer.bind->session);
    const int result = createDigestResponse(user.name, user.password, user.passwordLength,
                                            answer.realm.get(), answer.hostName(), answer.cnonce,
                                            nonceCount, answer.challenge(), &response);
    answer.response.reset(response.bv_val);
    return result;
}

int exchange(Answer &answer, berval &response) {
    LDAP *const ld = answer.bind->session;
    int messageId = 0;
    if (const int result = send(ld, &response, messageId); result != LDAP_SUCCESS)
        return result;
    MessagePtr message;
    if (const int result = await(ld, messageId, message); result != LDAP_SUCCESS) {
        answer.isKept = true;
        return result;
    }
    return read(ld, message, answer.credentials);
}

int complete(Answer &answer, const User &user, int realmIndex) {
    berval response = {};
    if (const int result = prepare(answer, user, realmIndex, response); result != LDAP_SUCCESS)
        return result;
    if (const int result = exchange(answer, response); result != LDAP_SUCCESS)
        return result;
    return validateServerResponse(user.name, user.password, user.passwordLength, answer.realm.get(),
                                  answer.hostName(), answer.cnonce, nonceCount, answer.challenge(),
                                  answer.credentials.get());
}

std::size_t lengthOf(const char *password, int length) {
    if (password == nullptr)
        return 0;
    return length == -1 ? std::strlen(password) : static_cast<std::size_t>(length);
}

} // namespace
} // namespace qldapx

extern "C" {

int ldap_bind_digest_md5_start(LDAP *ld, void **context) {
    if (context == nullptr)
        return LDAP_PARAM_ERROR;
    qldapx::UnseenChallengePtr challenge;
    if (const int result = qldapx::getChallenge(ld, challenge); result != LDAP_SUCCESS)
        return result;
    auto *const bind =
        static_cast<qldapx::DigestBindContext *>(std::malloc(sizeof(qldapx::DigestBindContext)));
    if (bind == nullptr)
        return LDAP_NO_MEMORY;
    *bind = {challenge.release(), nullptr, qldapx::open, ld};
    *context = bind;
    return LDAP_SUCCESS;
}

int ldap_get_digest_md5_realms(void *context, char ***realms) {
    auto *const bind = static_cast<qldapx::DigestBindContext *>(context);
    if (bind == nullptr || realms == nullptr || bind->state != qldapx::open)
        return LDAP_PARAM_ERROR;
    if (bind->realms == nullptr)
        bind->realms = qldapx::makeRealms(*bind->challenge);
    *realms = bind->realms;
    return *realms != nullptr ? LDAP_SUCCESS : LDAP_NO_MEMORY;
}

int ldap_bind_digest_md5_finish(void **context, const char *userName, const char *password,
                                int passwordLength, int realmIndex, int mode) {
    if (context == nullptr || *context == nullptr)
        return LDAP_PARAM_ERROR;
    qldapx::Answer answer;
    answer.bind.reset(static_cast<qldapx::DigestBindContext *>(*context));
    const bool isOpen = answer.bind->state == qldapx::open;
    int result = LDAP_PARAM_ERROR;
    if (isOpen && mode == QLDAPX_DIGEST_ABANDON)
        result = qldapx::abandon(answer.bind->session);
    else if (isOpen && mode == QLDAPX_DIGEST_COMPLETE && userName != nullptr &&
             passwordLength >= -1 && realmIndex >= 0 && realmIndex < answer.challenge()->realmCount)
        result = qldapx::complete(
            answer, {userName, password, qldapx::lengthOf(password, passwordLength)}, realmIndex);
    if (answer.isKept)
        answer.keep();
    else
        *context = nullptr;
    return result;
}
}
