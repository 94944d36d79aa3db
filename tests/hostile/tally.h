// tally.h - counts how the exchanges of each operation went, and prints it.
#pragma once

#include "hostile/ending.h"

#include <array>
#include <map>
#include <string>
#include <vector>

namespace hostile {

class Tally {
  public:
    explicit Tally(std::vector<std::string> operations);

    void addResult(std::size_t operation, int result);
    void addEnding(std::size_t operation, const Ending &ending);
    // Of an end that is no exchange's.
    void addPlace(const Ending &ending) { ++places_[ending.place]; }
    void addFinding() { ++findings_; }

    [[nodiscard]] unsigned long exchanges() const { return exchanges_; }
    [[nodiscard]] unsigned long findings() const { return findings_; }
    void print() const;

  private:
    // What came of an exchange: the columns of the table.
    enum Column { success, decoding, notSupported, server, client, asserted, columnCount };
    using Counts = std::array<unsigned long, columnCount>;

    static Column columnOf(int result);
    static void printRow(const std::string &name, const Counts &counts);
    void printResults() const;
    void printPlaces() const;

    std::vector<std::string> names_;
    std::vector<Counts> counts_;
    std::map<int, unsigned long> results_;
    // How often the process would have ended at each place.
    std::map<std::string, unsigned long> places_;
    unsigned long exchanges_ = 0, findings_ = 0;
};

} // namespace hostile
