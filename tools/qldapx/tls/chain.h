#pragma once

#include "tls/fault_words.h"
#include "tls/trust.h"

#include <optional>
#include <string>
#include <vector>

namespace qldapx {

/** What verifying found. */
struct ChainVerdict {
    std::vector<std::vector<CertificateFault>> faults; // of each certificate of the chain
    std::vector<CertificateFault> others;              // of trust anchors, which are not in it

    [[nodiscard]] bool isFine() const;
};

/**
 * Verifies a server's chain for the host, as a session would; or without one each certificate,
 * for any purpose, as far as it is not part of the chain of one before it.
 */
ChainVerdict verifyChain(const Certificates &chain, const Trust &trust,
                         const std::optional<std::string> &host);

} // namespace qldapx
