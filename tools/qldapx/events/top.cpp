#include "events/top.h"

#include "events/top_frame.h"
#include "interruption.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace qldapx {
namespace {

constexpr std::chrono::milliseconds betweenFrames(200);

class Top : public EventHandler {
  public:
    Top(Run &run, const EventOptions &events, Clock::time_point end)
        : run_(run), events_(events), end_(end), screen_(run.out.style()) {
        draw();
    }

    void registered(const std::vector<EventSpecification> &refused) override;
    bool event(const Event &event) override;
    void undecodable(const std::string & /*raw*/) override { ++model_.undecodable; }
    void lost(const Loss &loss) override;
    void over(const Gap & /*gap*/) override { ++model_.gaps; }
    bool wait(int descriptor, Clock::time_point until) override;

  private:
    void act(char key);
    void draw();
    bool tick();

    Run &run_;
    const EventOptions &events_;
    const Clock::time_point end_;
    Screen screen_;
    TopModel model_;
    ScreenSize drawnFor_{};
    Clock::time_point nextFrame_;
    bool quit_ = false;
};

void Top::registered(const std::vector<EventSpecification> &refused) {
    model_.server = run_.uri();
    model_.loss.clear();
    for (const EventSpecification &event : events_.events)
        model_.types.try_emplace(event.eventType);
    for (const EventSpecification &event : refused)
        model_.types[event.eventType].record = "(not reported)";
    draw();
}

void Top::lost(const Loss &loss) {
    const std::string since = localTime(loss.since);
    model_.loss = fmt::format("{}  events since {} may be missing", loss.reason,
                              since.substr(0, since.find('.')));
    draw();
}

bool Top::event(const Event &event) {
    model_.add(event);
    return tick();
}

void Top::act(char key) {
    if (key == 'q')
        quit_ = true;
    if (key == 'p')
        model_.paused = !model_.paused;
    if (key == 'r')
        model_.reset();
    draw();
}

void Top::draw() {
    drawnFor_ = Screen::size();
    screen_.show(topFrame(model_, drawnFor_));
    nextFrame_ = Clock::now() + betweenFrames;
}

/** Looks at the keyboard and the clock; false ends. */
bool Top::tick() {
    const auto now = Clock::now();
    if (now < std::min(nextFrame_, end_))
        return true;
    while (const auto key = screen_.key())
        act(*key);
    const bool isStill = model_.paused && model_.loss.empty() && Screen::size() == drawnFor_;
    if (!isStill)
        draw();
    nextFrame_ = now + betweenFrames;
    return !quit_ && now < end_;
}

bool Top::wait(int descriptor, Clock::time_point until) {
    const auto left = std::min({until, end_, nextFrame_}) - Clock::now();
    const auto longest = std::chrono::ceil<std::chrono::milliseconds>(left);
    std::array<pollfd, 2> ends = {{{descriptor, POLLIN, 0}, {screen_.keyboard(), POLLIN, 0}}};
    Interruption::wait(ends, std::clamp(longest, std::chrono::milliseconds(0), betweenFrames));
    if (ends[1].revents != 0)
        nextFrame_ = {};
    return tick();
}

} // namespace

void showEvents(Run &run, const EventOptions &events, std::optional<double> seconds) {
    const Interruption interruption(Screen::restore);
    {
        Top top(run, events, deadline(seconds));
        monitor(run, events, top);
    }
    if (Interruption::requested())
        Interruption::endProcess();
}

} // namespace qldapx
