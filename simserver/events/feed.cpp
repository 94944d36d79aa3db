#include "events/feed.h"

namespace stratasim {

void EventFeed::add(EventTaker &taker, const std::set<std::int32_t> &types) {
    for (const std::int32_t type : types)
        takers_[type].push_back(&taker);
    announceDemand();
}

void EventFeed::remove(EventTaker &taker) {
    for (auto &[type, list] : takers_)
        std::erase(list, &taker);
    std::erase_if(takers_, [](const auto &row) { return row.second.empty(); });
    announceDemand(); // who is left may have room
}

void EventFeed::publish(const EventPointer &event) const {
    const auto found = takers_.find(event->type());
    if (found == takers_.end())
        return;
    for (EventTaker *taker : found->second)
        taker->take(event);
}

EventFeed::Demand EventFeed::demand(std::int32_t type) const {
    const auto found = takers_.find(type);
    if (found == takers_.end())
        return Demand::None;
    Demand demand = Demand::None;
    for (const EventTaker *taker : found->second) {
        if (taker->hasEnded())
            continue;
        if (taker->hasRoom())
            return Demand::Room;
        demand = Demand::Full;
    }
    return demand;
}

bool EventFeed::knows(std::int32_t type) const {
    return allAllowed_ || findEvent(type) != nullptr || allowed_.contains(type);
}

} // namespace stratasim
