#pragma once

#include <cstddef>
#include <map>
#include <ostream>
#include <set>
#include <string>

namespace test {

/** The attributes of an entry, under names in lower case. */
using Entry = std::map<std::string, std::multiset<std::string>>;
/** Entries under their normalised DNs. */
using Tree = std::map<std::string, Entry>;

/** In one spelling for all that name the same entry. */
std::string normalizedDn(const std::string &dn);

/** What a file of people and changes to them is made of; the same plan gives the same file. */
struct PeoplePlan {
    std::string base = "ou=load,dc=example,dc=com"; // which the file adds as its first record
    int people = 1000;
    int units = 10;
    bool changes = true; // modifies and deletes among the adds
    int renames = 0;
    int first = 0; // the number of the first person, for files that differ
};

/** The records of a file, by operation. */
struct PeopleCounts {
    std::size_t adds = 0, modifies = 0, deletes = 0, renames = 0;
    [[nodiscard]] std::size_t all() const { return adds + modifies + deletes + renames; }
};

/**
 * Writes the LDIF: entries whose values are plain, long (and folded), UTF-8 or bytes (in base64),
 * then and again a change to one of them. `tree`, unless it is null, receives what is there when
 * everything was carried out.
 */
PeopleCounts writePeople(const PeoplePlan &plan, std::ostream &out, Tree *tree);

/** One attribute of a record: in base64 where LDIF wants that, and folded. */
void writeLdifLine(std::ostream &out, const std::string &type, const std::string &value);

} // namespace test
