// What a server says in a bind by DIGEST-MD5: its challenge, the lists of tokens in it, its proof,
// and both in the answers of a whole bind.
#include "answered_session.h"
#include "digest_bind.h"
#include "heap_watch.h"
#include "sasl/model_run.h"
#include "targets.h"

namespace qldapx_fuzz {

using namespace qldapx_test::digest_model;

void runDigestChallenge(const Target & /*target*/, const Bytes &bytes) {
    for (const bool staleAllowed : {false, true}) {
        const Reading expected = challengeOf(bytes, staleAllowed);
        HeapWatch watch(bytes.size());
        const bool isSame = librarysChallenge(bytes, staleAllowed, expected) == expected;
        // The realms of a challenge that is refused are lost.
        if (expected.isCleared && bytes.find("realm") != Bytes::npos)
            watch.releaseAll();
        require(isSame, "a challenge is read otherwise");
    }
}

// Some of the calls come after the end.
void runTokenList(const Target & /*target*/, const Bytes &bytes) {
    HeapWatch watch(bytes.size());
    TokenList model(bytes);
    LibrarysTokenList list(bytes);
    for (std::size_t calls = bytes.size() + 3; calls > 0; --calls)
        require(list.next() == model.next(), "a token is read otherwise");
}

void runDigestProof(const Target & /*target*/, const Bytes &bytes) {
    const Proof expected = proofOf(bytes);
    HeapWatch watch(bytes.size());
    require(librarysProof(bytes, expected) == expected, "a proof is read otherwise");
}

void runDigestBind(const Target & /*target*/, const Bytes &bytes) {
    prepareSessions();
    const DigestBind bind(bytes);
    HeapWatch watch(bytes.size());
    if (bind.run() == Loss::some)
        watch.releaseAll();
}

} // namespace qldapx_fuzz
