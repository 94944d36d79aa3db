#pragma once

#include "system/load_peer_people.h"
#include "system/process.h"

#include <string>

namespace test {

/** How large the tests may be: sanitizers make everything many times slower. */
#ifdef __SANITIZE_ADDRESS__
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

/** A file to load, and what is there afterwards. */
class PeopleFile {
  public:
    explicit PeopleFile(const PeoplePlan &plan, const std::string &name = "people.ldif");
    ~PeopleFile();
    PeopleFile(const PeopleFile &) = delete;
    PeopleFile &operator=(const PeopleFile &) = delete;

    /** The same, compressed. */
    [[nodiscard]] std::string compressed() const;
    [[nodiscard]] const std::string &path() const { return path_; }
    [[nodiscard]] std::string path(const std::string &name) const { return folder_.path(name); }
    [[nodiscard]] bool has(const std::string &name) const;

    Tree tree;
    PeopleCounts counts;

  private:
    TemporaryFolder folder_;
    std::string path_;
};

/** Where to load to, and as whom. */
struct LoadTarget {
    std::string uri, dn, password;

    [[nodiscard]] Arguments load(const std::string &file, const Arguments &more = {}) const;
    /** The same, reading this file as its standard input. */
    [[nodiscard]] Process loadFromInput(const std::string &file, const Arguments &more = {}) const;
};

/** Expects that the summary counts all of the file's updates as done and none as anything else. */
void expectAllDone(const Result &result, const PeopleCounts &counts);
/** Expects that a dry run counts the file's records. */
void expectAllRead(const Result &result, const PeopleCounts &counts);
/** The sum of what the summary says under this name: "done", "failed", "inDoubt". */
long sumOf(const Json &summary, const std::string &name);

} // namespace test
