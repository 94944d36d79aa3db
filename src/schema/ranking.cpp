#include "schema/ranking.h"

#include "core/handle.h"
#include "schema/first_bytes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <strings.h>
#include <utility>

namespace qldapx::schema {
namespace {

constexpr std::ptrdiff_t few = 64; // that comparing sorts as fast

using Counts = std::array<std::array<std::uint32_t, 256>, sizeof(std::uint64_t)>;

std::size_t digit(const Rank &rank, std::size_t place) {
    return rank.bytes >> 8 * place & 0xff;
}

// From the number of ranks with each digit to where the first of them belongs; false: all ranks
// have the same one.
bool sumUp(std::array<std::uint32_t, 256> &counts, std::size_t all) {
    std::uint32_t start = 0;
    for (std::uint32_t &count : counts) {
        if (count == all)
            return false;
        start += std::exchange(count, start);
    }
    return true;
}

void sortByRadix(Rank *first, Rank *last, Rank *spare) {
    Counts counts{};
    for (const Rank *rank = first; rank != last; ++rank)
        for (std::size_t place = 0; place < counts.size(); ++place)
            ++counts[place][digit(*rank, place)];
    const auto count = static_cast<std::size_t>(last - first);
    Rank *from = first;
    Rank *to = spare;
    for (std::size_t place = 0; place < counts.size(); ++place) {
        if (!sumUp(counts[place], count))
            continue;
        for (std::size_t i = 0; i < count; ++i)
            to[counts[place][digit(from[i], place)]++] = from[i];
        std::swap(from, to);
    }
    if (from != first)
        std::copy_n(from, count, first);
}

Rank *endOfRank(Rank *first, Rank *last) {
    return std::find_if(first, last,
                        [first](const Rank &rank) { return rank.bytes != first->bytes; });
}

} // namespace

Ranking::Ranking(Case order)
    : compare_(order == Case::Ignored ? strcasecmp : strcmp),
      compareStart_(order == Case::Ignored ? strncasecmp : strncmp) {
    // Folded as the searches fold, by the locale of the process.
    for (int c = 0; c < 256; ++c)
        folded_[c] = static_cast<unsigned char>(order == Case::Ignored ? std::tolower(c) : c);
}

Ranking::~Ranking() {
    std::free(ranks_);
}

void Ranking::reserve(std::size_t more) {
    if (isBroken_ || count_ + more <= capacity_)
        return;
    const std::size_t wanted = std::max(count_ + more, capacity_ + capacity_ / 2);
    auto *grown = static_cast<Rank *>(std::realloc(ranks_, wanted * sizeof(Rank)));
    isBroken_ = grown == nullptr;
    if (isBroken_)
        return;
    ranks_ = grown;
    capacity_ = wanted;
}

void Ranking::add(const char *text, LDAPSchemaElement *element) {
    reserve(1);
    if (isBroken_)
        return;
    if (count_ == 0)
        common_ = std::min(std::strlen(text), deepest / 4);
    else if (compareStart_(text, ranks_[0].text, common_) != 0)
        shorten(text);
    ranks_[count_++] = {bytesAt(text + common_), text, element};
}

bool Ranking::sort(int expected) {
    if (isBroken_ || count_ != static_cast<std::size_t>(expected))
        return false;
    if (count_ < 2)
        return true;
    const std::unique_ptr<Rank, Releaser<std::free>> spare(
        static_cast<Rank *>(std::malloc(count_ * sizeof(Rank))));
    if (spare == nullptr)
        return false;
    spare_ = spare.get();
    sortRanked(ranks_, ranks_ + count_, common_);
    return true;
}

// A text that does not begin like the others: they are ranked again, which can happen only as
// often as common_ has bytes.
void Ranking::shorten(const char *text) {
    common_ = alike(text, ranks_[0].text, common_);
    for (std::size_t i = 0; i < count_; ++i)
        ranks_[i].bytes = bytesAt(ranks_[i].text + common_);
}

// Orders ranks whose bytes are those from `depth` on.
void Ranking::sortRanked(Rank *first, Rank *last, std::size_t depth) {
    if (last - first < few)
        std::sort(first, last, [](const Rank &a, const Rank &b) { return a.bytes < b.bytes; });
    else
        sortByRadix(first, last, spare_);
    for (Rank *end = nullptr; first != last; first = end) {
        end = endOfRank(first, last);
        const bool hasMore = (first->bytes & 0xff) != 0;
        if (hasMore && end - first > 1)
            sortAlike(first, end, depth + sizeof first->bytes);
    }
}

// Orders ranks of which all texts are alike up to `depth`.
void Ranking::sortAlike(Rank *first, Rank *last, std::size_t depth) {
    const char *model = first->text + depth;
    std::size_t common = std::strlen(model);
    for (const Rank *rank = first + 1; rank != last; ++rank)
        common = alike(rank->text + depth, model, common);
    depth += common;
    if (depth >= deepest) {
        std::sort(first, last,
                  [this](const Rank &a, const Rank &b) { return compare_(a.text, b.text) < 0; });
        return;
    }
    for (Rank *rank = first; rank != last; ++rank)
        rank->bytes = bytesAt(rank->text + depth);
    sortRanked(first, last, depth);
}

// How many of their first `most` bytes two texts have in common.
std::size_t Ranking::alike(const char *a, const char *b, std::size_t most) const {
    std::size_t same = 0;
    while (same < most && a[same] != '\0' && fold(a[same]) == fold(b[same]))
        ++same;
    return same;
}

std::uint64_t Ranking::bytesAt(const char *text) const {
    return firstBytes(text, [this](unsigned char c) { return folded_[c]; });
}

} // namespace qldapx::schema
