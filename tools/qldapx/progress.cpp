#include "progress.h"

#include "standard_streams.h"

#include <fmt/format.h>
#include <unistd.h>

namespace qldapx {

std::string byteCount(std::uint64_t bytes) {
    constexpr std::uint64_t kibi = 1024;
    if (bytes < kibi)
        return fmt::format("{} byte{}", bytes, bytes == 1 ? "" : "s");
    const auto amount = static_cast<double>(bytes);
    if (bytes < kibi * kibi)
        return fmt::format("{:.1f} KiB", amount / kibi);
    return fmt::format("{:.1f} MiB", amount / (kibi * kibi));
}

Progress::Progress(bool json) : shown_(!json && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    hide();
}

void Progress::hide() {
    if (width_ > 0)
        tell(fmt::format("\r{:{}}\r", "", width_));
    width_ = 0;
}

void Progress::write(const std::string &line) {
    tell(fmt::format("\r{:<{}}", line, width_));
    width_ = line.size();
}

void Progress::show(const Words &words) {
    constexpr std::chrono::milliseconds pause(100);
    const auto now = shown_ ? Clock::now() : last_;
    if (!shown_ || now - last_ < pause)
        return;
    last_ = now;
    write(words(std::chrono::duration<double>(now - start_).count()));
}

void Progress::show(std::uint64_t pieces, std::uint64_t bytes) {
    show([&](double seconds) {
        const auto rate = static_cast<std::uint64_t>(static_cast<double>(bytes) / (seconds + 1e-3));
        return fmt::format("{}, {} piece{}, {}/s", byteCount(bytes), pieces, pieces == 1 ? "" : "s",
                           byteCount(rate));
    });
}

} // namespace qldapx
