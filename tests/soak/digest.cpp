#include "jobs.h"
#include "owners.h"

#include <cstring>

namespace soak {
namespace {

constexpr const char *user = "ada.brandt";

/** A session of its own, and a bind that has begun there. */
struct Begun {
    explicit Begun(Hand &hand) : session(hand.place().uri, longPatience) {
        hand.expect("ldap_bind_digest_md5_start", ldap_bind_digest_md5_start(session, &bind));
    }

    int finish(const char *password, int mode) {
        return ldap_bind_digest_md5_finish(&bind, user, password, -1, 0, mode);
    }

    Session session;
    void *bind = nullptr;
};

void finishRightly(Hand &hand) {
    Begun begun(hand);
    char **realms = nullptr; // of the bind
    hand.expect("ldap_get_digest_md5_realms", ldap_get_digest_md5_realms(begun.bind, &realms));
    hand.verify(std::strcmp(realms[0], "strata") == 0 && realms[1] == nullptr, "wrong realms");
    hand.expect("ldap_bind_digest_md5_finish", begun.finish(adaPassword, QLDAPX_DIGEST_COMPLETE));
    TextPtr identity;
    hand.expect("ldap_get_bind_dn", ldap_get_bind_dn(begun.session, out(identity)));
    hand.verify(std::strcmp(identity.get(), adaDn) == 0, "bound as somebody else");
}

void finishWrongly(Hand &hand) {
    hand.expect("ldap_bind_digest_md5_finish", Begun(hand).finish("wrong", QLDAPX_DIGEST_COMPLETE),
                LDAP_INVALID_CREDENTIALS);
}

// Gives up the one realm, which is lost.
void giveUp(Hand &hand) {
    hand.expect("ldap_bind_digest_md5_finish", Begun(hand).finish(nullptr, QLDAPX_DIGEST_ABANDON),
                LDAP_USER_CANCELLED);
    hand.tally().lose(chunk(sizeof "strata"));
}

} // namespace

void bindByDigest(Hand &hand) {
    finishRightly(hand);
    finishWrongly(hand);
    giveUp(hand);
}

} // namespace soak
