#pragma once

#include "sasl/digest_md5.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim::digest {

/** The steps of a bind, by the names that faults have for them. */
inline constexpr std::string_view kChallengeStep = "digest-md5-challenge";
inline constexpr std::string_view kProofStep = "digest-md5-proof";

/** A kind of fault that changes what the server says in one step. */
struct Distortion {
    std::string_view step;
    std::string_view kind;
    std::string_view value;     // what it takes, for people; empty: nothing
    std::string_view directive; // that it is about, if it is about one
    void (*change)(Answer &, std::string_view directive, const std::string &value);
    std::int64_t most = 0; // of a value that is a number; 0: it is a text
};

const std::vector<Distortion> &distortions();

} // namespace stratasim::digest
