#pragma once

#include "events/event.h"
#include "events/types.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

namespace stratasim {

/** Somebody who takes the events of some types, for as long as he lives. */
class EventTaker {
  public:
    virtual ~EventTaker() = default;
    virtual void take(const EventPointer &event) = 0;
    /** He takes no more. */
    virtual bool hasEnded() const = 0;
    /** At least half of what he may keep is free. */
    virtual bool hasRoom() const = 0;
};

/** Passes events on to those who monitor their types. Nothing is made for nobody. */
class EventFeed {
  public:
    void add(EventTaker &taker, const std::set<std::int32_t> &types);
    void remove(EventTaker &taker);

    bool wants(EventType type) const { return wants(static_cast<std::int32_t>(type)); }
    bool wants(std::int32_t type) const { return !takers_.empty() && takers_.contains(type); }
    /** Makes an event with `build(type)` and passes it on, if somebody wants it. */
    template <typename Build>
    void raise(EventType type, const Build &build) {
        if (!wants(type))
            return;
        ++made_;
        publish(std::make_shared<const Event>(build(static_cast<std::int32_t>(type))));
    }
    void publish(const EventPointer &event) const;

    bool isMonitored() const { return !takers_.empty(); }
    /** The state of those who take events of a type. */
    enum class Demand { None, Full, Room };
    Demand demand(std::int32_t type) const;

    /** A type may be registered if it is a listed one, or the replay has or may have it. */
    bool knows(std::int32_t type) const;
    void allow(std::int32_t type) { allowed_.insert(type); }
    void allowAll() { allAllowed_ = true; }

    /** Called when there is a new taker, and when one that was full has room again. */
    void onDemand(std::function<void()> call) { onDemand_ = std::move(call); }
    void announceDemand() const {
        if (onDemand_)
            onDemand_();
    }

    std::uint64_t made() const { return made_; } // events that operations have made
    std::size_t queueBytes = 4U * 1024 * 1024;   // what each taker may keep

  private:
    std::map<std::int32_t, std::vector<EventTaker *>> takers_; // no empty lists
    std::set<std::int32_t> allowed_;
    bool allAllowed_ = false;
    std::uint64_t made_ = 0;
    std::function<void()> onDemand_;
};

} // namespace stratasim
