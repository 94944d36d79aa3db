#pragma once

#include "tree.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace stratasim {

enum class Scope { Base = 0, OneLevel = 1, Subtree = 2 };

/**
 * Goes through the entries of a scope from the top. It holds no more than the path to where it
 * is, and stays valid when entries come, go or move between two steps.
 */
class Walk {
  public:
    /** Without a base there is nothing to go through. */
    Walk(std::shared_ptr<Node> base, Scope scope) : scope_(scope), first_(std::move(base)) {}

    /** The next entry; null at the end, and from then on. */
    std::shared_ptr<Node> next();

  private:
    struct Step {
        std::shared_ptr<Node> node;
        std::uint64_t last; // order of the child that was visited last
    };

    std::shared_ptr<Node> begin(const std::shared_ptr<Node> &base);

    Scope scope_;
    std::shared_ptr<Node> first_;
    std::vector<Step> path_;
};

} // namespace stratasim
