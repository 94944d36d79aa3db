#include "hostile/tree.h"

namespace hostile {

namespace {

constexpr unsigned deepest = 16;

// Those of a response, of an intermediate response, and of a control.
bool mayHoldElements(unsigned char tag) {
    return (tag & 0x20) != 0 || tag == 0x8b || tag == 0x81 || tag == 0x04;
}

// Takes the length behind a tag off the bytes.
std::optional<std::size_t> takeLength(std::string_view &bytes) {
    if (bytes.empty())
        return std::nullopt;
    const auto first = static_cast<unsigned char>(bytes[0]);
    bytes.remove_prefix(1);
    if (first < 0x80)
        return first;
    const std::size_t count = first & 0x7fU;
    if (count == 0 || count > 4 || count > bytes.size())
        return std::nullopt;
    std::size_t length = 0;
    for (std::size_t i = 0; i < count; ++i)
        length = length << 8 | static_cast<unsigned char>(bytes[i]);
    bytes.remove_prefix(count);
    return length;
}

std::optional<Node> takeElement(std::string_view &bytes, unsigned depth) {
    Node node;
    node.tag = static_cast<unsigned char>(bytes[0]);
    bytes.remove_prefix(1);
    const std::optional<std::size_t> length = takeLength(bytes);
    if (!length || *length > bytes.size() || (node.tag & 0x1f) == 0x1f)
        return std::nullopt;
    const std::string_view content = bytes.substr(0, *length);
    bytes.remove_prefix(*length);
    std::optional<std::vector<Node>> elements;
    if (mayHoldElements(node.tag) && depth < deepest)
        elements = parseElements(content, depth + 1);
    if (elements && !elements->empty())
        node.elements = std::move(*elements);
    else
        node.content = Bytes(content);
    return node;
}

Bytes contentOf(const Node &node) {
    return node.elements.empty() ? node.content : encode(node.elements);
}

} // namespace

std::optional<std::vector<Node>> parseElements(std::string_view bytes, unsigned depth) {
    std::vector<Node> nodes;
    while (!bytes.empty()) {
        std::optional<Node> node = takeElement(bytes, depth);
        if (!node)
            return std::nullopt;
        nodes.push_back(std::move(*node));
    }
    return nodes;
}

Bytes encode(const Node &node) {
    if (node.whole)
        return *node.whole;
    const Bytes content = contentOf(node);
    if (node.length)
        return Bytes(1, static_cast<char>(node.tag)) + *node.length + content;
    return qldapx_test::tlv(node.tag, content);
}

Bytes encode(const std::vector<Node> &nodes) {
    Bytes bytes;
    for (const Node &node : nodes)
        bytes += encode(node);
    return bytes;
}

void flatten(Node &node) {
    node.content = contentOf(node);
    node.elements.clear();
}

} // namespace hostile
