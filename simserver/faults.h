#pragma once

#include "message.h"
#include "sasl/digest_faults.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** The name that faults have for the handshake of TLS. */
inline constexpr std::string_view kHandshake = "tls-handshake";

/**
 * What is to go wrong with the answers to one extended operation or step of a bind. All of it may
 * be combined. The value of a bind's answer are its serverSaslCreds.
 */
struct Fault {
    /** The answer carries no response OID. */
    bool noOid = false;
    /** The answer carries this response OID in place of its own. */
    std::optional<std::string> oid;
    /** The answer carries no response value. */
    bool noValue = false;
    /** The response value ends after that many bytes. */
    std::optional<std::size_t> truncate;
    /** These bytes are the response value, whatever the operation gave. */
    std::optional<std::string> value;
    /** The operation is not carried out, and answered with this result code... */
    std::optional<int> code;
    /** ...and this diagnostic message. */
    std::string diagnostic;
    /** The answer comes that much later; other operations go on meanwhile. */
    std::chrono::milliseconds delay{0};
    /** The connection ends instead of an answer. */
    bool drop = false;
    /** The connection ends behind the answer, without TLS's close_notify. */
    bool cut = false;
    /** What becomes of a TLS handshake. */
    enum class Handshake { Kept, Silent, Closed, Garbage };
    Handshake handshake = Handshake::Kept;
    /** The connection ends when that many operations of a bulk update's request are done. */
    std::optional<std::size_t> partway;
    /** What is changed in the words of a step of DIGEST-MD5, in this order. */
    std::vector<std::function<void(digest::Answer &)>> distortions;

    /** Changes the answer as the members from noOid to value say. */
    void distort(ExtendedReply &reply) const;
    void distort(std::optional<std::string> &replyValue) const;
    void distort(digest::Answer &answer) const;
};

/** Throws the result code that a fault gives, if it gives one; null is no fault. */
void requireNoCode(const Fault *fault);

/**
 * The faults of a server by the number of the answer and by what is answered: the request OID of
 * an operation, or a step of DIGEST-MD5.
 */
class Faults {
  public:
    /** What goes wrong with that answer, counted from 1, if anything does. */
    std::optional<Fault> find(std::string_view answered, std::uint64_t number) const;
    /** Whether anything may ever go wrong with it. */
    bool concern(std::string_view answered) const { return byAnswered_.contains(answered); }

    /**
     * Adds one written as OID[@N[+]]=KIND[:VALUE], where OID may be an operation's name or a step:
     * it is for the Nth answer alone, with a plus sign for those after it, too. Gives the problem
     * in words, or nothing when all is well.
     */
    std::string add(std::string_view text);

  private:
    struct Rule {
        std::uint64_t first = 1;
        std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
        std::function<bool(Fault &)> apply; // false when the value is none for the kind
    };

    static bool readNumbers(Rule &rule, std::string_view text);

    std::map<std::string, std::vector<Rule>, std::less<>> byAnswered_;
};

} // namespace stratasim
