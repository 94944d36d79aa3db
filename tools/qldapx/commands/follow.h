#pragma once

#include "search.h"

namespace qldapx {

/** How a persistent search is followed. */
struct FollowOptions {
    std::vector<std::string> changes; // names of the kinds; none: all
    bool existing = false;            // what matches at the start is printed, too
    std::optional<std::size_t> count; // end after so many entries
};

/** The names of the kinds of changes. */
std::vector<std::string> changeNames();

/** Prints changes as the server tells them, until the count is reached or Ctrl-C. */
void follow(Run &run, const SearchRequest &request, const FollowOptions &options);

} // namespace qldapx
