// challenge.h - owner of a challenge that no caller has seen.
#pragma once

#include "sasl/directives.h"

namespace qldapx {

// Nobody has taken its realms out, so their strings go, too.
inline void releaseUnseenChallenge(DigestChallenge *challenge) {
    for (DigestRealm *realm = challenge->realms; realm != nullptr; realm = realm->next)
        std::free(realm->realm);
    freeDigestChallenge(challenge);
}

using UnseenChallengePtr = std::unique_ptr<DigestChallenge, Releaser<releaseUnseenChallenge>>;

} // namespace qldapx
