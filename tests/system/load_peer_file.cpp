#include "system/load_peer_file.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <malloc.h>

namespace test {

PeopleFile::PeopleFile(const PeoplePlan &plan, const std::string &name)
    : path_(folder_.path(name)) {
    std::ofstream out(path_);
    counts = writePeople(plan, out, &tree);
}

// A process that is started has the peak of who starts it: the next test's has to be small.
PeopleFile::~PeopleFile() {
    tree.clear();
    malloc_trim(0);
}

std::string PeopleFile::compressed() const {
    const Result result = runShell("gzip -1 -k \"$FILE\"", {{{"FILE", path_}}, {}, {}});
    EXPECT_EQ(result.status, 0) << result.err;
    return path_ + ".gz";
}

bool PeopleFile::has(const std::string &name) const {
    const std::vector<std::string> names = folder_.names();
    return std::find(names.begin(), names.end(), name) != names.end();
}

Arguments LoadTarget::load(const std::string &file, const Arguments &more) const {
    Arguments all = {"-H", uri, "-D", dn, "-w", password, "load", file, "--json"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

Process LoadTarget::loadFromInput(const std::string &file, const Arguments &more) const {
    Arguments all = {"--norc", "--noprofile", "-c", "exec \"$0\" \"$@\" <\"$FILE\"", QLDAPX_PATH};
    const Arguments load = this->load("-", more);
    all.insert(all.end(), load.begin(), load.end());
    return {"/bin/bash", all, {{{"FILE", file}}, {}, {}}};
}

long sumOf(const Json &summary, const std::string &name) {
    long sum = 0;
    for (const auto &[kind, tally] : summary["updates"].items())
        sum += tally.value(name, 0L);
    return sum;
}

namespace {

std::vector<std::pair<const char *, std::size_t>> byKind(const PeopleCounts &counts) {
    return {{"add", counts.adds},
            {"modify", counts.modifies},
            {"delete", counts.deletes},
            {"rename", counts.renames}};
}

} // namespace

void expectAllDone(const Result &result, const PeopleCounts &counts) {
    ASSERT_EQ(result.status, 0) << result.err;
    const Json summary = result.json();
    for (const auto &[kind, count] : byKind(counts))
        EXPECT_EQ(summary["updates"][kind]["done"], count) << kind;
    for (const char *other : {"failed", "inDoubt", "unknown"})
        EXPECT_EQ(sumOf(summary, other), 0) << other;
}

void expectAllRead(const Result &result, const PeopleCounts &counts) {
    ASSERT_EQ(result.status, 0) << result.err;
    const Json summary = result.json();
    for (const auto &[kind, count] : byKind(counts))
        EXPECT_EQ(summary["updates"][kind], count) << kind;
    EXPECT_EQ(summary["records"], counts.all());
    EXPECT_EQ(summary["malformed"], 0);
}

} // namespace test
