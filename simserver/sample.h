#pragma once

#include "tree.h"

namespace stratasim {

inline constexpr const char *kSampleSuffix = "dc=example,dc=com";

/** Fills the tree with the built-in sample, the same entries in the same order every time. */
void loadSample(Tree &tree);

} // namespace stratasim
