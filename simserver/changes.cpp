#include "changes.h"

namespace stratasim {

void ChangeFeed::follow(Tree &tree) {
    tree.subscribe([this](const Change &change) { announce(change); });
}

void ChangeFeed::announce(const Change &change) {
    ++lastNumber_;
    for (ChangeWatcher *watcher : watchers_)
        watcher->onChange(change, lastNumber_);
}

} // namespace stratasim
