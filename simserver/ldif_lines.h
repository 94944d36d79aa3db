#pragma once

#include "ldif.h"

#include <istream>
#include <optional>
#include <string>

namespace stratasim {

[[noreturn]] void failLdif(int line, const std::string &problem);

/** Gives logical lines: continuations joined, comments left out, an empty line after each record.
 */
class LdifLines {
  public:
    explicit LdifLines(std::istream &in) : in_(in) { readPhysical(); }

    bool next(std::string &line);
    /** Of the first physical line of the last logical one. */
    int number() const { return number_; }

  private:
    bool readPhysical();

    std::istream &in_;
    std::optional<std::string> ahead_;
    int aheadNumber_ = 0;
    int number_ = 0;
};

struct LdifPair {
    std::string name;
    std::string value;
};
/** Throws LdifError. */
LdifPair parseLdifLine(const std::string &line, int number);

} // namespace stratasim
