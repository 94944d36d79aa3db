// tree.h - a message as the tree of its elements, so that what is changed in one of them leaves all
// that is around it right.
#pragma once

#include "support/ber.h"

#include <optional>
#include <string_view>
#include <vector>

namespace hostile {

using qldapx_test::Bytes;

struct Node {
    unsigned char tag = 0;
    // Elements, or bytes where there are none.
    std::vector<Node> elements;
    Bytes content;
    // What is written in the place of the right length, and of the whole element.
    std::optional<Bytes> length;
    std::optional<Bytes> whole;
};

// None: the bytes are no run of elements. Looks into the values of operations and controls, too.
std::optional<std::vector<Node>> parseElements(std::string_view bytes, unsigned depth = 0);

Bytes encode(const Node &node);
Bytes encode(const std::vector<Node> &nodes);
// Makes its elements its bytes.
void flatten(Node &node);

} // namespace hostile
