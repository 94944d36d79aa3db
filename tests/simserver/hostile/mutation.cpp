#include "hostile/mutation.h"

#include "hostile/requests.h"
#include "wire.h"

#include <utility>

Mutation::Mutation(std::uint32_t seed)
    : random_(seed), operations_(knownOperations()), controls_(knownControls()) {}

std::string Mutation::Element::write() const {
    if (inner.empty())
        return wire::tlv(tag, content);
    std::string all;
    for (const Element &element : inner)
        all += element.write();
    return wire::tlv(tag, all);
}

/** False when the bytes are not whole elements from the first to the last. */
bool Mutation::read(std::string_view data, std::vector<Element> &elements, int depth) {
    constexpr int deepest = 12;
    while (data.size() >= 2) {
        std::size_t length = static_cast<unsigned char>(data[1]), header = 2;
        if (length == 0x84 && data.size() >= 6) {
            length = 0;
            for (header = 2; header < 6; ++header)
                length = length * 256 + static_cast<unsigned char>(data[header]);
        }
        if (length >= 0x80 && header == 2)
            return false;
        if (length > data.size() - header)
            return false;
        Element &read = elements.emplace_back();
        read.tag = static_cast<std::uint8_t>(data[0]);
        read.content = data.substr(header, length);
        if (depth == deepest || !Mutation::read(read.content, read.inner, depth + 1))
            read.inner.clear();
        data.remove_prefix(header + length);
    }
    return data.empty();
}

void Mutation::collect(Element &element, std::vector<Element *> &all) {
    all.push_back(&element);
    for (Element &inner : element.inner)
        collect(inner, all);
}

std::string Mutation::intact() {
    const std::string &control = controls_[upTo(2) == 0 ? 0 : upTo(controls_.size())];
    return wire::message(static_cast<std::uint8_t>(1 + upTo(120)),
                         operations_[upTo(operations_.size())], control);
}

/** What may stand in place of any content. */
std::string Mutation::filling() {
    switch (upTo(6)) {
    case 0:
        return {};
    case 1:
        return std::string(upTo(70000), static_cast<char>(random_()));
    case 2:
        return wire::hex("ffffffffffffffff");
    case 3:
        return operations_[upTo(operations_.size())];
    case 4: {
        std::string nested;
        for (std::uint32_t depth = upTo(2000); depth > 0 && nested.size() < 60000; --depth)
            nested = wire::tlv(static_cast<std::uint8_t>(0xa0 + upTo(3)), nested);
        return nested;
    }
    default: {
        std::string bytes(upTo(40), '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(random_());
        return bytes;
    }
    }
}

/** Changes what one element says; all lengths stay right. */
void Mutation::edit(Element &whole) {
    std::vector<Element *> all;
    collect(whole, all);
    Element &chosen = *all[upTo(all.size())];
    switch (upTo(5)) {
    case 0:
        chosen.tag = static_cast<std::uint8_t>(random_());
        break;
    case 1:
        chosen.inner.clear();
        chosen.content = filling();
        break;
    case 2:
        if (!chosen.inner.empty())
            chosen.inner.erase(chosen.inner.begin() + upTo(chosen.inner.size()));
        break;
    case 3:
        if (!chosen.inner.empty())
            chosen.inner.insert(chosen.inner.begin(), upTo(200), Element(chosen.inner.back()));
        break;
    default:
        if (chosen.inner.size() > 1)
            std::swap(chosen.inner.front(), chosen.inner[upTo(chosen.inner.size())]);
        break;
    }
}

std::string Mutation::wrongLength() {
    constexpr const char *lengths[] = {"80",         "ff", "847fffffff", "88ffffffffffffffff",
                                       "8400000000", "7f", "8100",       "89000000000000000001"};
    return wire::hex(lengths[upTo(std::size(lengths))]);
}

/** Changes bytes, whatever they mean. */
void Mutation::breakBytes(std::string &bytes) {
    const std::size_t at = bytes.empty() ? 0 : upTo(bytes.size());
    switch (upTo(4)) {
    case 0:
        bytes.resize(at);
        break;
    case 1:
        bytes.replace(at, 1, wrongLength());
        break;
    case 2:
        bytes.insert(at, 1, static_cast<char>(random_()));
        break;
    default:
        if (!bytes.empty())
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << upTo(8)));
        break;
    }
}

std::string Mutation::next() {
    std::string bytes = intact();
    std::vector<Element> elements;
    if (upTo(2) == 0) {
        for (std::uint32_t times = 1 + upTo(3); times > 0; --times)
            breakBytes(bytes);
    } else if (read(bytes, elements, 0)) {
        for (std::uint32_t times = 1 + upTo(3); times > 0; --times)
            edit(elements.front());
        bytes = elements.front().write();
    }
    return bytes;
}
