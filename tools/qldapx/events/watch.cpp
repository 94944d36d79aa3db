#include "events/watch.h"

#include "errors.h"
#include "events/event_json.h"
#include "events/event_text.h"
#include "interruption.h"
#include "standard_streams.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fmt/format.h>

namespace qldapx {
namespace {

constexpr std::chrono::milliseconds second(1000);

std::string specificationText(const EventSpecification &event) {
    return event.eventResult == 0 ? std::to_string(event.eventType)
                                  : fmt::format("{}:{}", event.eventType, event.eventResult);
}

class Watcher : public EventHandler {
  public:
    Watcher(Output &out, const WatchOptions &options)
        : out_(out), options_(options), end_(deadline(options.seconds)) {}

    void registered(const std::vector<EventSpecification> &refused) override;
    bool event(const Event &event) override;
    void undecodable(const std::string &raw) override;
    void lost(const Loss &loss) override;
    void over(const Gap &gap) override;
    bool wait(int descriptor, Clock::time_point until) override;

    /** Says how much there was. */
    void summarize() const;

  private:
    void warn(const std::string &message) {
        out_.flush();
        qldapx::warn(message, out_.isJson());
    }

    Output &out_;
    const WatchOptions &options_;
    const Clock::time_point begin_ = Clock::now();
    const Clock::time_point end_;
    std::size_t printed_ = 0;
    std::string lossReason_; // the last one that was told
};

void Watcher::registered(const std::vector<EventSpecification> &refused) {
    std::string list;
    for (const EventSpecification &event : refused)
        list += (list.empty() ? "" : ", ") + specificationText(event);
    if (!list.empty())
        warn(fmt::format("the server does not report these events: {}", list));
}

bool Watcher::event(const Event &event) {
    out_.text(out_.isJson() ? eventJson(event) : eventText(event, terminalWidth()));
    ++printed_;
    return (!options_.count || printed_ < *options_.count) && Clock::now() < end_;
}

void Watcher::undecodable(const std::string &raw) {
    warn(fmt::format("an event could not be understood: {}", bytesText(raw)));
}

// A server that stays away for long is told once, not at each try.
void Watcher::lost(const Loss &loss) {
    if (loss.reason == lossReason_)
        return;
    lossReason_ = loss.reason;
    warn(fmt::format("{}; events since {} may be missing; trying again", loss.reason,
                     localTime(loss.since)));
}

void Watcher::over(const Gap &gap) {
    lossReason_.clear();
    const std::chrono::duration<double> length = gap.until - gap.since;
    if (out_.isJson())
        out_.line(jsonText(Output::Json{{"time", universalTime(gap.until)},
                                        {"gap",
                                         {{"since", universalTime(gap.since)},
                                          {"until", universalTime(gap.until)},
                                          {"reason", gap.reason}}}}));
    warn(fmt::format("events between {} and {} ({:.1f} s) may be missing", localTime(gap.since),
                     localTime(gap.until), length.count()));
}

bool Watcher::wait(int descriptor, Clock::time_point until) {
    out_.flush();
    const auto left = std::min(until, end_) - Clock::now();
    const auto longest = std::chrono::ceil<std::chrono::milliseconds>(left);
    std::array<pollfd, 2> ends = {{{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    Interruption::wait(ends, std::clamp(longest, std::chrono::milliseconds(0), second));
    if ((ends[1].revents & POLLERR) != 0) // nobody reads any more
        throw OutputError(EPIPE);
    return Clock::now() < end_;
}

void Watcher::summarize() const {
    const std::chrono::duration<double> time = Clock::now() - begin_;
    if (out_.isJson())
        tell(
            jsonText(Output::Json{{"summary", {{"events", printed_}, {"seconds", time.count()}}}}) +
            "\n");
    else
        tell(fmt::format("{} event{} in {:.1f} s\n", printed_, printed_ == 1 ? "" : "s",
                         time.count()));
}

} // namespace

void watchEvents(Run &run, const EventOptions &events, const WatchOptions &options) {
    const Interruption interruption;
    Watcher watcher(run.out, options);
    try {
        monitor(run, events, watcher);
        run.out.flush();
    } catch (const OutputError &error) {
        if (!Interruption::requested() || error.error() != EINTR)
            throw;
    }
    if (!Interruption::requested())
        return;
    watcher.summarize();
    Interruption::endProcess();
}

} // namespace qldapx
