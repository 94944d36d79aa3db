#include "extended/registry.h"
#include "filter_text.h"
#include "operations/event_monitor.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

/** What is asked for as far as the server has it; anything else is left out. */
std::vector<EventSpecification> acceptable(const EventFeed &feed,
                                           const std::vector<RequestedEvent> &requested) {
    constexpr auto last = static_cast<std::int32_t>(EventSpecification::Outcome::Failure);
    std::vector<EventSpecification> accepted;
    for (const RequestedEvent &event : requested) {
        // A filter that cannot be read is a mistake, whatever it is for.
        std::optional<Filter> filter;
        if (!event.filter.empty())
            filter = parseFilter(event.filter);
        if (feed.knows(event.type) && event.result >= 0 && event.result <= last)
            accepted.push_back({event.type, static_cast<EventSpecification::Outcome>(event.result),
                                std::move(filter)});
    }
    return accepted;
}

// SEQUENCE { count INTEGER, SET OF SEQUENCE { eventType INTEGER, eventResult ENUMERATED } }
std::string acceptedValue(const std::vector<EventSpecification> &accepted) {
    std::string value;
    ber::Writer writer(value);
    const std::size_t outer = writer.open(ber::kSequence);
    writer.integer(static_cast<std::int64_t>(accepted.size()));
    const std::size_t set = writer.open(ber::kSet);
    for (const EventSpecification &specification : accepted) {
        const std::size_t element = writer.open(ber::kSequence);
        writer.integer(specification.type);
        writer.integer(static_cast<int>(specification.outcome), ber::kEnumerated);
        writer.close(element);
    }
    writer.close(set);
    writer.close(outer);
    return value;
}

ResponseValue monitorEvents(const ExtendedCall &call) {
    // Each costs a look at the events of its type.
    constexpr std::size_t most = 1000;
    EventFeed &feed = call.directory.events;
    std::vector<EventSpecification> accepted = acceptable(feed, call.arguments.events(0));
    if (accepted.empty())
        throw OperationError(
            ResultCode::UnwillingToPerform,
            "none of these events can be monitored: see --list-events for their numbers; the "
            "result is 0 for all of them, 1 for successful and 2 for failed ones");
    if (accepted.size() > most)
        throw OperationError(ResultCode::AdminLimitExceeded,
                             fmt::format("more than {} specifications of events", most));
    std::string value = acceptedValue(accepted);
    call.after.open =
        std::make_unique<EventMonitor>(feed, call.connection, call.request.id, std::move(accepted));
    return value;
}

} // namespace

std::vector<ExtendedOperation> eventOperations() {
    using enum ExtendedOperation::Access;
    std::vector<ExtendedOperation> operations = {
        strataOperation(79, "monitor-events", Administrator, "e", monitorEvents),
        strataOperation(84, "monitor-events-filtered", Administrator, "E", monitorEvents),
    };
    for (ExtendedOperation &operation : operations)
        operation.responseOid = kMonitorResponse;
    return operations;
}

} // namespace stratasim
