#include "operations/event_monitor.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {

bool EventSpecification::matches(const Event &event) const {
    if (type != event.type())
        return false;
    if (outcome != Outcome::Any && (outcome == Outcome::Success) != event.succeeded())
        return false;
    return !filter || filter->evaluate(event.node()) == Filter::Match::True;
}

EventMonitor::EventMonitor(EventFeed &feed, Connection &connection, std::int32_t id,
                           std::vector<EventSpecification> wanted)
    : feed_(feed), connection_(connection), id_(id), wanted_(std::move(wanted)) {
    ber::Writer(idElement_).integer(id);
    std::set<std::int32_t> types;
    for (const EventSpecification &specification : wanted_)
        types.insert(specification.type);
    connection_.beginWatch();
    feed_.add(*this, types);
}

EventMonitor::~EventMonitor() {
    --connection_.watches;
    feed_.remove(*this);
}

bool EventMonitor::matches(const Event &event) const {
    return std::any_of(
        wanted_.begin(), wanted_.end(),
        [&](const EventSpecification &specification) { return specification.matches(event); });
}

void EventMonitor::take(const EventPointer &event) {
    if (ended_ || !matches(*event))
        return;
    const std::size_t size = event->protocolOp().size();
    // One event alone may be larger: a registration that has nothing else to send sends it.
    if (!waiting_.empty() && waitingBytes_ + size > feed_.queueBytes) {
        ended_ = true;
    } else {
        waitingBytes_ += size;
        waiting_.push_back(event);
        ++taken_;
    }
    if (wake_)
        wake_();
}

OpenOperation::Progress EventMonitor::produce(std::string &out, std::size_t budget) {
    const std::size_t enough = out.size() + budget;
    const bool hadRoom = hasRoom();
    ber::Writer writer(out);
    for (; !waiting_.empty() && out.size() < enough; waiting_.pop_front()) {
        const std::string &op = waiting_.front()->protocolOp();
        writer.header(ber::kSequence, idElement_.size() + op.size());
        out.append(idElement_).append(op);
        waitingBytes_ -= op.size();
    }
    if (!hadRoom && hasRoom())
        feed_.announceDemand();
    if (!waiting_.empty())
        return Progress::More;
    if (!ended_)
        return Progress::Waiting;
    finish(out);
    return Progress::Done;
}

void EventMonitor::finish(std::string &out) const {
    const std::string why =
        fmt::format("more than {} bytes of events were waiting to be read: {} events were "
                    "delivered, and later ones are lost",
                    feed_.queueBytes, taken_);
    appendExtended(out, id_, {{ResultCode::Busy, {}, why}, kMonitorResponse, {}});
}

} // namespace stratasim
