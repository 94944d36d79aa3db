#include "events/moment.h"

#include <array>
#include <ctime>
#include <fmt/format.h>

namespace qldapx {
namespace {

using Breakdown = std::tm *(*)(const std::time_t *, std::tm *);

std::string formatted(Moment moment, Breakdown breakDown, const char *format, const char *end) {
    using namespace std::chrono;
    const auto wholeSeconds = floor<seconds>(moment);
    const std::time_t second = system_clock::to_time_t(wholeSeconds);
    std::tm parts{};
    breakDown(&second, &parts);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &parts);
    return fmt::format("{}.{:03}{}", std::string_view(text.data(), length),
                       duration_cast<milliseconds>(moment - wholeSeconds).count(), end);
}

} // namespace

std::string localTime(Moment moment) {
    return formatted(moment, localtime_r, "%Y-%m-%d %H:%M:%S", "");
}

std::string universalTime(Moment moment) {
    return formatted(moment, gmtime_r, "%Y-%m-%dT%H:%M:%S", "Z");
}

} // namespace qldapx
