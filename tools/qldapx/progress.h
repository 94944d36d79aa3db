#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace qldapx {

/** Such as "1.5 MiB". */
std::string byteCount(std::uint64_t bytes);

/** How far a transfer is, in one line of a terminal's standard error; silent elsewhere. */
class Progress {
  public:
    explicit Progress(bool json);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(std::uint64_t pieces, std::uint64_t bytes);
    /** Makes room for something else on the terminal; the next line comes when it is due. */
    void hide();
    /** The same in other words, which are asked for when a line is due, with the seconds passed. */
    using Words = std::function<std::string(double seconds)>;
    void show(const Words &words);

  private:
    using Clock = std::chrono::steady_clock;
    void write(const std::string &line);

    bool shown_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_;
    std::size_t width_ = 0; // of what stands there
};

} // namespace qldapx
