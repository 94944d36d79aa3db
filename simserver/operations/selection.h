#pragma once

#include "ber.h"
#include "tree.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** What an entry of a search carries beside the attributes that were asked for. */
struct Supplement {
    std::vector<Attribute> attributes;
    std::string controls; // of its message; see appendControl()
};

/** Which attributes of the found entries a search asks for (RFC 4511, 4.5.1.8). */
class Selection {
  public:
    static Selection decode(ber::Reader names, bool typesOnly);

    /**
     * Appends the SearchResultEntry of a node, with a supplement unless that is null. The
     * password never leaves the server.
     */
    void appendEntry(std::string &out, std::int32_t id, const Node &node,
                     const Supplement *supplement = nullptr) const;

  private:
    bool selects(std::string_view key) const;
    void appendAttribute(ber::Writer &writer, std::string_view name,
                         const std::vector<std::string> &values) const;

    bool allUser_ = true;
    bool allOperational_ = false;
    bool typesOnly_ = false;
    std::vector<std::string> keys_;
};

} // namespace stratasim
