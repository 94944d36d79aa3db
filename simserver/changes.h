#pragma once

#include "tree.h"

#include <cstdint>
#include <set>

namespace stratasim {

/** Somebody who wants to hear of changes to the tree, for as long as he lives. */
class ChangeWatcher {
  public:
    virtual ~ChangeWatcher() = default;
    /** The change is complete; its number is one more than that of the change before it. */
    virtual void onChange(const Change &change, std::uint64_t number) = 0;
};

/** Numbers the changes to the tree and passes them on to whoever watches at the moment. */
class ChangeFeed {
  public:
    /** What is in the tree before that is no change. */
    void follow(Tree &tree);

    void add(ChangeWatcher &watcher) { watchers_.insert(&watcher); }
    void remove(ChangeWatcher &watcher) { watchers_.erase(&watcher); }

    /** Of the last change; 0 when there has been none. */
    std::uint64_t lastNumber() const { return lastNumber_; }

  private:
    void announce(const Change &change);

    std::set<ChangeWatcher *> watchers_;
    std::uint64_t lastNumber_ = 0;
};

} // namespace stratasim
