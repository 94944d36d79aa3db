#include "schema/fences.h"

#include "schema/order.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qldapx::schema {
namespace {

constexpr int distance = 16;
constexpr int fewest = 4 * distance; // elements that a plain search is as fast on

} // namespace

void Fences::build(LDAPSchemaElement *const *elements, int count) {
    clear();
    if (count < fewest)
        return;
    std::size_t size = 0;
    int fences = 0;
    for (int i = distance - 1; i < count && keyOf(*elements[i]) != nullptr; i += distance) {
        size += sizeof(Fence) + std::strlen(keyOf(*elements[i])) + 1;
        ++fences;
    }
    if (fences == 0)
        return;
    fences_ = static_cast<Fence *>(std::malloc(size));
    if (fences_ == nullptr)
        return;
    count_ = fences;
    auto *text = reinterpret_cast<char *>(fences_ + fences);
    for (int i = 0; i < fences; ++i) {
        const int start = (i + 1) * distance - 1;
        fences_[i] = {text, start};
        text = stpcpy(text, keyOf(*elements[start])) + 1;
    }
}

void Fences::clear() {
    std::free(fences_);
    fences_ = nullptr;
    count_ = moves_ = 0;
}

Range Fences::around(const char *key, int count) const {
    const Fence *first = fences_;
    const Fence *end = first + count_;
    const Fence *above = std::lower_bound(
        first, end, key, [](const Fence &a, const char *b) { return std::strcmp(a.key, b) < 0; });
    const int start = above == first ? 0 : above[-1].start;
    while (above != end && std::strcmp(above->key, key) == 0)
        ++above;
    return {start, above == end ? count : above->start};
}

void Fences::inserted(const char *key, int place) {
    ++moves_;
    for (Fence *fence = fences_; fence != fences_ + count_; ++fence)
        if (fence->start > place || (fence->start == place && compareKeys(key, fence->key) < 0))
            ++fence->start;
}

void Fences::erased(int place) {
    ++moves_;
    for (Fence *fence = fences_; fence != fences_ + count_; ++fence)
        if (fence->start > place)
            --fence->start;
}

} // namespace qldapx::schema
