// digest_bind.h - a bind by DIGEST-MD5 whose answers, and what is done with them, the bytes say.
#pragma once

#include "sasl/model_challenge.h"
#include "support/ber.h"

namespace qldapx_fuzz {

using qldapx_test::Bytes;

// Whether the bind may have left blocks to nobody, as its contract has it.
enum class Loss { none, some };

// The bytes: what the bind is like (bits, see the source), the result code of the second answer,
// the size of the first answer in two bytes, and both answers.
class DigestBind {
  public:
    explicit DigestBind(const Bytes &bytes);

    // Ends the process when a result is not the contract's.
    [[nodiscard]] Loss run() const;

  private:
    using Challenge = qldapx_test::digest_model::Challenge;

    [[nodiscard]] bool is(unsigned bit) const { return (bits_ & bit) != 0; }
    [[nodiscard]] Bytes firstOperation() const;
    [[nodiscard]] Bytes secondOperation() const;
    [[nodiscard]] Loss finish(void **context) const;
    [[nodiscard]] int resultOf(const Challenge &challenge) const;
    [[nodiscard]] bool fits(const Challenge &challenge) const;

    unsigned bits_ = 0;
    int code_ = 0;
    Bytes first_, second_;
};

} // namespace qldapx_fuzz
