#pragma once

#include "system/process.h"

#include <random>
#include <set>

namespace test {

/** A server whose schema the tool looks at and changes, and as whom. */
struct SchemaTarget {
    std::string uri, dn, password;

    /** `qldapx schema ARGUMENTS` against it. */
    [[nodiscard]] Result run(const Arguments &arguments) const;
    /** Gives the LDIF to the ldapmodify of OpenLDAP. */
    [[nodiscard]] Result modify(const std::string &ldif) const;
    /** What `export` writes. */
    [[nodiscard]] std::string exported() const;
};

/** `qldapx schema ARGUMENTS` without a server. */
Result runSchema(const Arguments &arguments, const Surroundings &surroundings = {});

/** An attribute's name and value, unfolded and decoded; the order is the file's. */
using LdifValues = std::vector<std::pair<std::string, std::string>>;
LdifValues ldifValues(const std::string &ldif);

/** The differences that `diff --json` found, as "lost attribute cn 2.5.4.3". */
std::multiset<std::string> differences(const Result &diff);

/** Whether there is no control character but line ends and tabs, and DEL, which JSON has as it is.
 */
bool isSafeForTerminal(const std::string &text);

/**
 * Descriptions written another way, with the same meaning: white space, folded lines, order of
 * lists and of values, letters of names.
 */
class Rewriter {
  public:
    explicit Rewriter(unsigned seed) : random_(seed) {}

    std::string file(LdifValues values);
    unsigned below(std::size_t limit) { return static_cast<unsigned>(random_() % limit); }

  private:
    std::string description(const std::string &text);
    void shuffleList(std::vector<std::string> &tokens, std::size_t first, std::size_t last);
    std::string blanks();

    std::mt19937 random_;
};

} // namespace test
