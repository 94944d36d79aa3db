// sort.h - sorts a list by the text of its items, eight bytes at a time.
//
// The texts lie all over the heap, and comparing two of them costs two cache misses; object
// identifiers begin alike, too. So the next eight bytes of each are laid beside its item, as a
// number, and only those that have these in common look at their text again.
#pragma once

#include "core/handle.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace qldapx::schema {

struct ByteOrder {
    static unsigned char fold(unsigned char c) { return c; }
};

// As strcasecmp, which the searches use, folds.
struct CaseIgnoreOrder {
    static unsigned char fold(unsigned char c) {
        return static_cast<unsigned char>(std::tolower(c));
    }
};

// The eight bytes of a text from `depth` on, zero behind its end.
template <class Order>
std::uint64_t bytesAt(const char *text, std::size_t depth) {
    std::uint64_t bytes = 0;
    for (int i = 0; i < 8; ++i) {
        const auto c = static_cast<unsigned char>(text[depth + static_cast<std::size_t>(i)]);
        bytes = bytes << 8 | Order::fold(c);
        if (c == 0)
            return bytes << 8 * (7 - i);
    }
    return bytes;
}

template <class Item>
struct Ranked {
    std::uint64_t bytes;
    Item item;
};

template <class Order>
int compareTexts(const char *a, const char *b) {
    for (;; ++a, ++b) {
        const int first = Order::fold(static_cast<unsigned char>(*a));
        const int second = Order::fold(static_cast<unsigned char>(*b));
        if (first != second || first == 0)
            return first - second;
    }
}

template <class Order, class Item, class Text>
void sortWhole(Item *first, Item *last, Text text) {
    std::sort(first, last, [&](const Item &a, const Item &b) {
        return compareTexts<Order>(text(a), text(b)) < 0;
    });
}

// Where the items of one rank end.
template <class Item>
Ranked<Item> *endOfRank(Ranked<Item> *first, Ranked<Item> *last) {
    return std::find_if(first, last,
                        [&](const Ranked<Item> &item) { return item.bytes != first->bytes; });
}

// Texts that are alike this far are compared whole, which bounds how deep the calls nest.
inline constexpr std::size_t deepest = 256;

template <class Order, class Item, class Text>
void sortFrom(Ranked<Item> *first, Ranked<Item> *last, std::size_t depth, Text text) {
    if (depth >= deepest)
        return sortWhole<Order>(
            first, last, [&](const Ranked<Item> &item) { return text(item.item) + deepest; });
    for (Ranked<Item> *item = first; item != last; ++item)
        item->bytes = bytesAt<Order>(text(item->item), depth);
    if (endOfRank(first, last) != last)
        std::sort(first, last,
                  [](const Ranked<Item> &a, const Ranked<Item> &b) { return a.bytes < b.bytes; });
    for (Ranked<Item> *end = nullptr; first != last; first = end) {
        end = endOfRank(first, last);
        const bool hasMore = (first->bytes & 0xff) != 0;
        if (hasMore && end - first > 1)
            sortFrom<Order>(first, end, depth + 8, text);
    }
}

// Sorts `count` items by text(item). Without memory for the ranks it takes longer.
template <class Order, class Item, class Text>
void sortByText(Item *items, std::size_t count, Text text) {
    using Rank = Ranked<Item>;
    const std::unique_ptr<Rank, Releaser<std::free>> ranks(
        static_cast<Rank *>(count < 2 ? nullptr : std::malloc(count * sizeof(Rank))));
    if (ranks == nullptr)
        return sortWhole<Order>(items, items + count, text);
    for (std::size_t i = 0; i < count; ++i)
        ranks.get()[i].item = items[i];
    sortFrom<Order>(ranks.get(), ranks.get() + count, 0, text);
    for (std::size_t i = 0; i < count; ++i)
        items[i] = ranks.get()[i].item;
}

} // namespace qldapx::schema
