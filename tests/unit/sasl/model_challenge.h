// model_challenge.h - what the directives of a challenge say, and of a server's proof.
#pragma once

#include "sasl/model_list.h"

#include <cstdint>
#include <optional>

namespace qldapx_test::digest_model {

constexpr std::uint32_t maxbufNotGiven = 0xFFFFFFFF;

struct Challenge {
    std::vector<std::string> realms;  // the last one first
    std::optional<std::string> nonce; // with the zeros that its length counts
    int qop = 0;
    int stale = 0;
    std::uint32_t maxbuf = maxbufNotGiven;
    std::optional<std::string> charset;
    std::optional<std::string> algorithm;
    int ciphers = 0;
    bool operator==(const Challenge &) const = default;
};

struct Handler {
    const char *directive;
    int (*handle)(Challenge &challenge, const Directive &directive);
};

// In the order of the library's run of them.
constexpr std::size_t handlerCount = 8;
extern const Handler handlers[handlerCount];

struct Reading {
    int code = 0;
    bool isCleared = false; // the output is NULL
    std::optional<Challenge> challenge = std::nullopt;
    bool operator==(const Reading &) const = default;
};

Reading challengeOf(std::string_view text, bool staleAllowed);

// The value of a proof, with the zeros that its length counts.
struct Proof {
    int code = 0;
    std::optional<std::string> rspauth = std::nullopt;
    bool operator==(const Proof &) const = default;
};

Proof proofOf(std::string_view text);

} // namespace qldapx_test::digest_model
