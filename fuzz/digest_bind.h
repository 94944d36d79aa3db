// digest_bind.h - a bind by DIGEST-MD5 whose answers, and what is done with them, the bytes say.
#pragma once

#include "sasl/model_challenge.h"
#include "support/ber.h"

namespace qldapx_fuzz {

using qldapx_test::Bytes;

// Whether the bind may have left blocks to nobody, as its contract has it.
enum class Loss { none, some };

// The bytes: what the bind is like (bits, see below), the result code of the second answer,
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
    [[nodiscard]] const std::string &user() const;
    [[nodiscard]] std::size_t realmIndex() const { return is(secondRealm) ? 1 : 0; }
    [[nodiscard]] int finish(void **context, const Challenge &challenge) const;
    [[nodiscard]] int resultOf(const Challenge &challenge) const;
    // The text that answers a challenge with that client nonce, and what of it stands before that.
    [[nodiscard]] Bytes headTo(const Challenge &challenge) const;
    [[nodiscard]] Bytes responseTo(const Challenge &challenge, const std::string &cnonce) const;
    void requireAnswered(const Challenge &challenge, const Bytes &requests) const;
    [[nodiscard]] Loss lossOf(const Challenge &challenge, int result) const;

    // The answer is the whole operation; otherwise what it says to DIGEST-MD5.
    static constexpr unsigned rawFirst = 1, rawSecond = 2;
    static constexpr unsigned abandons = 4, secondRealm = 8, longName = 16;

    unsigned bits_ = 0;
    int code_ = 0;
    Bytes first_, second_;
};

} // namespace qldapx_fuzz
