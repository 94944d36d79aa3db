// fences.h - copies of some keys of a sorted list of elements, close together in memory.
//
// A look at an element's key goes through three places of the heap, none of them in the cache of a
// large schema. Most steps of a search are made on these copies instead, without what all of them
// begin with; only the last few look at elements. They are copies and not pointers, so that nothing
// points at a key that is changed.
#pragma once

#include <cstddef>
#include <cstdint>

struct LDAPSchemaElement;

namespace qldapx::schema {

struct Range {
    int first;
    int last;
};

// Lies in zeroed memory. Without fences all searches take the whole list.
class Fences {
  public:
    // Elements between two fences and behind the second, at most.
    static constexpr int closest = 32;

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
    int compare(const char *key, std::int32_t fence) const;
    Range between(std::int32_t first, std::int32_t end, int count) const;

    // Every element before starts_[i] has a key below or like the i-th fence, those from there on
    // one like or above it. All lies in one block, which bytes_ begins.
    std::uint64_t *bytes_; // the first ones of each fence's key behind the prefix
    const char **keys_;    // the whole of it
    std::int32_t *starts_;
    const char *prefix_;
    std::size_t prefixLength_;
    std::int32_t count_;
    std::int32_t moves_;
};

} // namespace qldapx::schema
