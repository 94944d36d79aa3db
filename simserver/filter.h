#pragma once

#include "ber.h"
#include "tree.h"

#include <cstddef>
#include <string>
#include <vector>

namespace stratasim {

/** A search filter of RFC 4511, 4.5.1.7, with its assertion values brought to matching form. */
class Filter {
  public:
    enum class Kind {
        And = 0xa0,
        Or = 0xa1,
        Not = 0xa2,
        Equality = 0xa3,
        Substrings = 0xa4,
        GreaterOrEqual = 0xa5,
        LessOrEqual = 0xa6,
        Present = 0x87,
        Approximate = 0xa8,
        Extensible = 0xa9,
    };
    enum class Match { False, True, Undefined };

    static constexpr int kMaxDepth = 100;
    static constexpr std::size_t kMaxParts = 10000;

    /**
     * Reads one filter; throws ber::Error when the bytes are none, OperationError when it is
     * nested more than kMaxDepth deep or has more than kMaxParts parts.
     */
    static Filter decode(ber::Reader &reader);

    Match evaluate(const Node &node) const;
    /** How many filters and pieces of substrings it is made of: what it costs to look at a node. */
    std::size_t parts() const { return parts_; }

  private:
    static Filter decode(ber::Reader &reader, int depth, std::size_t &parts);

    /** A piece of a substrings filter: 0x80 initial, 0x81 any, 0x82 final. */
    struct Piece {
        std::uint8_t tag;
        std::string text;
    };

    void decodeAssertion(Bytes content);
    void decodeSubstrings(Bytes content, std::size_t &parts);
    void decodeExtensible(Bytes content);

    std::string matchingForm(std::string_view key, std::string_view value) const;
    Match evaluateAll(const Node &node) const;
    Match evaluateExtensible(const Node &node) const;
    Match evaluateItem(const Node &node) const;
    bool matchesValue(std::string_view key, std::string_view value) const;
    bool matchesPieces(std::string_view value) const;

    Kind kind_ = Kind::Present;
    std::string key_;   // empty also where what is named cannot be an attribute
    std::string value_; // in the form in which it is compared
    std::string rule_;
    bool dnAttributes_ = false;
    bool namesAttribute_ = false; // an extensible one need not
    std::vector<Piece> pieces_;
    std::vector<Filter> children_;
    std::size_t parts_ = 0; // of the outermost one
};

} // namespace stratasim
