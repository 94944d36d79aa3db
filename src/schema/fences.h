// fences.h - copies of some keys of a sorted list of elements, close together in memory.
//
// A look at an element's key goes through three places of the heap, none of them in the cache of a
// large schema. Most steps of a search are made on these copies instead; only the last few look
// at elements. They are copies and not pointers, so that nothing points at a key that is changed.
#pragma once

#include <cstdint>

struct LDAPSchemaElement;

namespace qldapx::schema {

struct Range {
    int first;
    int last;
};

// Every element before `start` has a key below or like `key`, those from `start` on one like or
// above it.
struct Fence {
    const char *key;
    std::int32_t start;
};

// Lies in zeroed memory. Without fences all searches take the whole list.
class Fences {
  public:
    // Over sorted elements, up to those without keys, once there are enough of them.
    void build(LDAPSchemaElement *const *elements, int count);
    void clear();

    // Where elements of this key can be, in a list of `count`.
    Range around(const char *key, int count) const;

    // An element of this key has come to, or gone from, a place.
    void inserted(const char *key, int place);
    void erased(int place);
    // So much has moved that they had better be built anew.
    bool areWorn() const { return moves_ > count_; }

  private:
    Fence *fences_; // the keys lie behind them in the same block
    std::int32_t count_;
    std::int32_t moves_;
};

} // namespace qldapx::schema
