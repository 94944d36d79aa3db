// ranking.h - sorts elements by their keys, or names, while they are fetched.
//
// The texts lie all over the heap: to compare them afterwards costs more than to read them from the
// wire, and object identifiers begin alike. So each text is ranked as soon as it is there, by the
// first eight bytes that it does not have in common with all others; these numbers, side by side,
// are sorted by radix. Only texts that have them in common, too, are looked at again.
#pragma once

#include "qldapx/schema.h"

#include <cstddef>
#include <cstdint>

namespace qldapx::schema {

struct Rank {
    std::uint64_t bytes;
    const char *text;
    LDAPSchemaElement *element;
};

class Ranking {
  public:
    enum class Case { Matters, Ignored };

    explicit Ranking(Case order);
    ~Ranking();
    Ranking(const Ranking &) = delete;
    Ranking &operator=(const Ranking &) = delete;

    // Makes room for so many more, ahead of time.
    void reserve(std::size_t more);
    // Ranks the text of an element, which has to stay where it is.
    void add(const char *text, LDAPSchemaElement *element);

    // Sorts what was added. False: it was not so many, or memory ran out, now or before.
    [[nodiscard]] bool sort(int expected);
    const Rank &operator[](int place) const { return ranks_[place]; }

  private:
    // Beyond this texts are compared whole, which bounds how deep the calls nest.
    static constexpr std::size_t deepest = 256;

    void shorten(const char *text);
    void sortRanked(Rank *first, Rank *last, std::size_t depth);
    void sortAlike(Rank *first, Rank *last, std::size_t depth);
    std::size_t alike(const char *a, const char *b, std::size_t most) const;
    std::uint64_t bytesAt(const char *text) const;
    unsigned char fold(char c) const { return folded_[static_cast<unsigned char>(c)]; }

    int (*compare_)(const char *, const char *);
    int (*compareStart_)(const char *, const char *, std::size_t);
    unsigned char folded_[256];
    Rank *ranks_ = nullptr;
    Rank *spare_ = nullptr;
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
    std::size_t common_ = 0; // bytes that all texts begin with
    bool isBroken_ = false;  // memory ran out
};

} // namespace qldapx::schema
