#include "operations/walk.h"

#include "directory.h"

#include <utility>

namespace stratasim {

std::shared_ptr<Node> Walk::next() {
    if (first_)
        return begin(std::exchange(first_, nullptr));
    while (!path_.empty()) {
        Step &step = path_.back();
        const auto child = step.node->children.upper_bound(step.last);
        if (child == step.node->children.end()) {
            path_.pop_back();
            continue;
        }
        step.last = child->first;
        // The path may grow below: the step is not to be used after that.
        std::shared_ptr<Node> node = child->second;
        if (step.node->key.empty() && isServerEntry(node->key))
            continue;
        if (scope_ == Scope::Subtree)
            path_.push_back({node, 0});
        return node;
    }
    return nullptr;
}

std::shared_ptr<Node> Walk::begin(const std::shared_ptr<Node> &base) {
    if (scope_ != Scope::Base)
        path_.push_back({base, 0});
    // The nameless top is no entry, and one level begins below the base.
    const bool included = scope_ == Scope::Base || (scope_ == Scope::Subtree && !base->key.empty());
    return included ? base : next();
}

} // namespace stratasim
