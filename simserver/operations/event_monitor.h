#pragma once

#include "events/feed.h"
#include "filter.h"
#include "operations/operations.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace stratasim {

/** Which events of a type are wanted. */
struct EventSpecification {
    enum class Outcome { Any = 0, Success = 1, Failure = 2 };

    std::int32_t type = 0;
    Outcome outcome = Outcome::Any;
    std::optional<Filter> filter;

    bool matches(const Event &event) const;
};

/**
 * A registration for events: reports them until it is abandoned. They wait for the client up to
 * a bound; with the first one for which there is no room the registration ends.
 */
class EventMonitor : public OpenOperation, private EventTaker {
  public:
    /** Throws adminLimitExceeded when the connection has too many of them. */
    EventMonitor(EventFeed &feed, Connection &connection, std::int32_t id,
                 std::vector<EventSpecification> wanted);
    ~EventMonitor() override;
    EventMonitor(const EventMonitor &) = delete;
    EventMonitor &operator=(const EventMonitor &) = delete;

    Progress produce(std::string &out, std::size_t budget) override;
    void onReady(const std::function<void()> &wake) override { wake_ = wake; }

  private:
    void take(const EventPointer &event) override;
    bool hasEnded() const override { return ended_; }
    bool hasRoom() const override { return waitingBytes_ <= feed_.queueBytes / 2; }
    bool matches(const Event &event) const;
    void finish(std::string &out) const;

    EventFeed &feed_;
    Connection &connection_;
    std::int32_t id_;
    std::string idElement_; // the beginning of each message's content
    std::vector<EventSpecification> wanted_;
    std::deque<EventPointer> waiting_;
    std::size_t waitingBytes_ = 0;
    std::uint64_t taken_ = 0;
    bool ended_ = false; // when what waits has been sent
    std::function<void()> wake_;
};

/** The response OID of the registrations. */
inline constexpr const char *kMonitorResponse = "2.16.840.1.907341.1.27.100.80";

} // namespace stratasim
