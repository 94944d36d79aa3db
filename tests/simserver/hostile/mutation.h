#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

/**
 * Messages that somebody has tampered with: from the same seed the same ones. Half of them keep
 * their structure and say something else, the others break it.
 */
class Mutation {
  public:
    explicit Mutation(std::uint32_t seed);

    /** The next one. */
    std::string next();
    std::uint32_t upTo(std::size_t size) { return static_cast<std::uint32_t>(random_() % size); }

  private:
    /** An element with what is in it, if that is elements. */
    struct Element {
        std::uint8_t tag = 0;
        std::string content;
        std::vector<Element> inner;

        std::string write() const;
    };

    static bool read(std::string_view data, std::vector<Element> &elements, int depth);
    static void collect(Element &element, std::vector<Element *> &all);

    std::string intact();
    void edit(Element &whole);
    void breakBytes(std::string &bytes);
    std::string wrongLength();
    std::string filling();

    std::mt19937 random_;
    std::vector<std::string> operations_;
    std::vector<std::string> controls_;
};
