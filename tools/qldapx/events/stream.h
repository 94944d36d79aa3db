#pragma once

#include "command.h"
#include "events/event.h"
#include "events/moment.h"

#include <optional>
#include <vector>

namespace qldapx {

/** What is to be monitored. */
struct EventOptions {
    std::vector<EventSpecification> events;
    std::optional<std::string> filter;
    bool reconnect = false;
};

using Clock = std::chrono::steady_clock;

/** When so many seconds are over; never without a number. */
Clock::time_point deadline(std::optional<double> seconds);

/** Events may be missing. */
struct Loss {
    std::string reason;
    Moment since;                    // the server's last sign of life
    std::chrono::milliseconds pause; // until the next try
};

/** Events may be missing, and later ones are not. */
struct Gap {
    std::string reason;
    Moment since, until;
};

/** What a command does with events, one at a time as they come. */
class EventHandler {
  public:
    EventHandler() = default;
    virtual ~EventHandler() = default;
    EventHandler(const EventHandler &) = delete;
    EventHandler &operator=(const EventHandler &) = delete;

    /** The server reports from now on what was wanted, but for these. */
    virtual void registered(const std::vector<EventSpecification> &refused) = 0;
    /** An event; false ends. */
    virtual bool event(const Event &event) = 0;
    /** A notification that nobody understands. */
    virtual void undecodable(const std::string &raw) = 0;
    virtual void lost(const Loss &loss) = 0;
    virtual void over(const Gap &gap) = 0;
    /** No event is there: waits until there is something to read, or until then; false ends. */
    virtual bool wait(int descriptor, Clock::time_point until) = 0;
};

/**
 * Registers, and hands over what comes until the handler or a signal ends it. Whatever else ends
 * the registration is a Failure; with `reconnect` only what another try cannot mend.
 */
void monitor(Run &run, const EventOptions &options, EventHandler &handler);

} // namespace qldapx
