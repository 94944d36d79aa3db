#include "events/top_model.h"

#include "events/event_text.h"

#include <fmt/format.h>
#include <numeric>

namespace qldapx {
namespace {

constexpr std::size_t mostLines = 300;    // more than a screen has
constexpr std::size_t longestLine = 2000; // bytes, or a little more

std::string timeOfDay(Moment moment) {
    const std::string time = localTime(moment);
    return time.substr(time.find(' ') + 1);
}

} // namespace

void TopModel::add(const Event &event) {
    const auto now = Rate::Clock::now();
    const bool failed = event.result_code() != LDAP_SUCCESS;
    Type &type = types[event.type()];
    type.record = recordName(event);
    ++type.count;
    type.errors += failed ? 1 : 0;
    type.rate.add(now);
    rate.add(now);
    latest.push_back(fmt::format("{} {:>6} {:>4}  {}", timeOfDay(event.time), event.type(),
                                 event.result_code(), eventFields(event, longestLine)));
    if (latest.size() > mostLines)
        latest.pop_front();
}

void TopModel::reset() {
    since = std::chrono::system_clock::now();
    for (auto &[number, type] : types)
        type = {type.record, 0, 0, {}};
    rate = {};
    gaps = undecodable = 0;
    latest.clear();
}

std::uint64_t TopModel::count() const {
    return std::accumulate(types.begin(), types.end(), std::uint64_t{0},
                           [](auto sum, const auto &each) { return sum + each.second.count; });
}

std::uint64_t TopModel::errors() const {
    return std::accumulate(types.begin(), types.end(), std::uint64_t{0},
                           [](auto sum, const auto &each) { return sum + each.second.errors; });
}

} // namespace qldapx
