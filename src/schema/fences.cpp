#include "schema/fences.h"

#include "schema/first_bytes.h"
#include "schema/order.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qldapx::schema {
namespace {

constexpr int distance = 4;
constexpr int fewest = 32; // elements that a plain search is as fast on

std::size_t alike(const char *a, const char *b) {
    std::size_t same = 0;
    while (a[same] != '\0' && a[same] == b[same])
        ++same;
    return same;
}

const char *fenceKey(LDAPSchemaElement *const *elements, int fence) {
    return keyOf(*elements[(fence + 1) * distance - 1]);
}

// How many fences there can be: up to the first element without a key.
int countFences(LDAPSchemaElement *const *elements, int count) {
    int fences = 0;
    while (fences < count / distance && fenceKey(elements, fences) != nullptr)
        ++fences;
    return count < fewest ? 0 : fences;
}

unsigned char asItIs(unsigned char c) {
    return c;
}

// The first of sorted numbers that is not below `wanted`, without a branch to be foretold.
std::int32_t placeOf(const std::uint64_t *numbers, std::int32_t count, std::uint64_t wanted) {
    const std::uint64_t *first = numbers;
    for (; count > 1; count -= count / 2)
        first += first[count / 2 - 1] < wanted ? count / 2 : 0;
    return static_cast<std::int32_t>(first - numbers) + (*first < wanted ? 1 : 0);
}

} // namespace

void Fences::build(LDAPSchemaElement *const *elements, int count) {
    clear();
    const int fences = countFences(elements, count);
    if (fences == 0)
        return;
    // What the first and the last one begin with, all between them begin with.
    const char *first = fenceKey(elements, 0);
    const std::size_t prefix = alike(first, fenceKey(elements, fences - 1));
    std::size_t size = prefix + 1;
    for (int i = 0; i < fences; ++i)
        size += sizeof *bytes_ + sizeof *keys_ + sizeof *starts_ +
                std::strlen(fenceKey(elements, i)) - prefix + 1;
    bytes_ = static_cast<std::uint64_t *>(std::malloc(size));
    if (bytes_ == nullptr)
        return;
    keys_ = reinterpret_cast<const char **>(bytes_ + fences);
    starts_ = reinterpret_cast<std::int32_t *>(keys_ + fences);
    auto *text = reinterpret_cast<char *>(starts_ + fences);
    for (int i = 0; i < fences; ++i) {
        starts_[i] = (i + 1) * distance - 1;
        keys_[i] = text;
        bytes_[i] = firstBytes(fenceKey(elements, i) + prefix, asItIs);
        text = stpcpy(text, fenceKey(elements, i) + prefix) + 1;
    }
    prefix_ = static_cast<char *>(std::memcpy(text, first, prefix));
    prefixLength_ = prefix;
    count_ = fences;
}

void Fences::clear() {
    std::free(bytes_);
    *this = {};
}

int Fences::compare(const char *key, std::int32_t fence) const {
    const int order = std::strncmp(key, prefix_, prefixLength_);
    return order != 0 ? order : std::strcmp(key + prefixLength_, keys_[fence]);
}

Range Fences::between(std::int32_t first, std::int32_t end, int count) const {
    return {first == 0 ? 0 : starts_[first - 1], end == count_ ? count : starts_[end]};
}

Range Fences::around(const char *key, int count) const {
    if (count_ == 0)
        return {0, count};
    const int order = std::strncmp(key, prefix_, prefixLength_);
    if (order != 0)
        return order < 0 ? Range{0, starts_[0]} : Range{starts_[count_ - 1], count};
    const char *rest = key + prefixLength_;
    const std::uint64_t bytes = firstBytes(rest, asItIs);
    const std::int32_t first = placeOf(bytes_, count_, bytes);
    if (first == count_ || bytes_[first] != bytes)
        return between(first, first, count);
    const auto last = std::upper_bound(bytes_ + first, bytes_ + count_, bytes) - bytes_;
    const auto isBelow = [](const char *a, const char *b) { return std::strcmp(a, b) < 0; };
    const auto alike = std::equal_range(keys_ + first, keys_ + last, rest, isBelow);
    return between(static_cast<std::int32_t>(alike.first - keys_),
                   static_cast<std::int32_t>(alike.second - keys_), count);
}

void Fences::inserted(const char *key, int place) {
    ++moves_;
    for (std::int32_t i = 0; i < count_; ++i)
        starts_[i] += starts_[i] > place;
    for (std::int32_t i = 0; i < count_ && key != nullptr; ++i)
        if (starts_[i] == place && compare(key, i) < 0)
            ++starts_[i];
}

void Fences::erased(int place) {
    ++moves_;
    for (std::int32_t i = 0; i < count_; ++i)
        starts_[i] -= starts_[i] > place;
}

} // namespace qldapx::schema
