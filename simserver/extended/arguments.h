#pragma once

#include "ber.h"
#include "dn.h"
#include "topology.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

namespace stratasim {

/** Events that somebody asks for. */
struct RequestedEvent {
    std::int32_t type = 0;
    std::int32_t result = 0;
    std::string_view filter; // empty: none
};

/**
 * The elements of a request value, which stand one after the other without a SEQUENCE around
 * them. A format names them in wire order: 'i' INTEGER of 32 bits, 's' OCTET STRING, 'l' SEQUENCE
 * OF OCTET STRING, 'f' SEQUENCE OF SEQUENCE { OCTET STRING, SEQUENCE OF OCTET STRING }, 'c'
 * SEQUENCE { count INTEGER, SET OF SEQUENCE { INTEGER } } with as many numbers, 'e'
 * SEQUENCE { count INTEGER, SET OF SEQUENCE { INTEGER, ENUMERATED } } of events, as many, and 'E'
 * the same with an OCTET STRING, a filter, at the end of each; 'v' takes all the rest as a text
 * that the operation reads itself. The empty format asks for no value at all; a '?' in front lets
 * the value be absent.
 */
class Arguments {
  public:
    /** Throws ber::Error, which says what is wrong, unless the value is exactly of that format. */
    Arguments(std::string_view format, const std::optional<Bytes> &value);

    bool empty() const { return elements_.empty(); }
    std::int32_t integer(std::size_t index) const;
    std::string_view text(std::size_t index) const;
    const std::vector<std::string_view> &list(std::size_t index) const;
    const std::vector<FilterClass> &filter(std::size_t index) const;
    const std::vector<std::int32_t> &sizes(std::size_t index) const;
    const std::vector<RequestedEvent> &events(std::size_t index) const;
    /** The text as a DN; throws invalidDNSyntax. */
    Dn dn(std::size_t index) const { return requireDn(text(index)); }

  private:
    using Element = std::variant<std::int32_t, std::string_view, std::vector<std::string_view>,
                                 std::vector<FilterClass>, std::vector<std::int32_t>,
                                 std::vector<RequestedEvent>>;

    std::vector<Element> elements_;
};

} // namespace stratasim
