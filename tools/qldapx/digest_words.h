#pragma once

#include "result_words.h"

namespace qldapx {

/** What a result code of a bind with DIGEST-MD5 means: from the server's challenge, or the proofs.
 */
Words explainChallenge(const Outcome &outcome);
Words explainProof(const Outcome &outcome);

} // namespace qldapx
