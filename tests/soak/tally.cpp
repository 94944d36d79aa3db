#include "tally.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace soak {

void Tally::count(const std::string &group, const std::string &call, int code) {
    const std::lock_guard lock(mutex_);
    ++calls_[group][call][code];
}

// New words would be kept without end.
void Tally::complain(const std::string &words) {
    constexpr std::size_t enough = 30;
    const std::lock_guard lock(mutex_);
    const bool isKept = complaints_.size() < enough || complaints_.contains(words);
    ++complaints_[isKept ? words : "others"];
}

void Tally::lose(std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    lost_ += bytes;
}

std::size_t Tally::lost() const {
    const std::lock_guard lock(mutex_);
    return lost_;
}

nlohmann::json Tally::report() const {
    const std::lock_guard lock(mutex_);
    nlohmann::json calls = nlohmann::json::object();
    for (const auto &[group, names] : calls_)
        for (const auto &[name, codes] : names)
            for (const auto &[code, count] : codes)
                calls[group][name][std::to_string(code)] = count;
    return {{"calls", calls}, {"complaints", complaints_}, {"lost", lost_}};
}

std::size_t chunk(std::size_t bytes) {
    constexpr std::size_t head = 8, unit = 16, least = 32;
    return std::max(least, (bytes + head + unit - 1) / unit * unit);
}

} // namespace soak
