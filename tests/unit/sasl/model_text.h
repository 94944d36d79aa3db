// model_text.h - texts for the model and the library to read: all short ones of a few characters,
// lists made by the grammar, and lists damaged at random.
#pragma once

#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qldapx_test::digest_model {

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t limit) { return engine_() % limit; }
    bool oneIn(std::size_t chances) { return below(chances) == 0; }
    template <class T>
    const T &of(const std::vector<T> &all) {
        return all[below(all.size())];
    }
    // Often one of the bytes that mean something.
    char byte();

  private:
    std::mt19937 engine_;
};

// Tells whether to go on.
using Visit = std::function<bool(const std::string &)>;

// Every text of these characters, up to that length.
void everyText(std::string_view alphabet, std::size_t longest, const Visit &visit);
// The text with every byte value at every place of it.
void everyByteOf(std::string text, const Visit &visit);

// A list of tokens.
std::string randomTokens(Random &random);
// The text of a value: bare, or quoted with escapes.
std::string randomValue(Random &random, const std::string &name);
// A list of directives that parses.
std::string randomDirectives(Random &random);
// A challenge with everything that one needs, and more.
std::string randomChallenge(Random &random);
// With cuts, insertions, swaps and other bytes; as often unchanged.
std::string damaged(Random &random, std::string text);

// With escapes for what cannot be printed.
std::string printable(std::string_view text);

} // namespace qldapx_test::digest_model
