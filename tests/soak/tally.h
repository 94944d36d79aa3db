// tally.h - what the calls came to, what was wrong, and what the contract says is lost.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace soak {

class Tally {
  public:
    /** A call of that group ("plain", "tls", "fault") has given this code. */
    void count(const std::string &group, const std::string &call, int code);
    /** Something is not as it must be: the soak has failed. */
    void complain(const std::string &words);
    /** The contract of a call loses this memory. */
    void lose(std::size_t bytes);

    [[nodiscard]] std::size_t lost() const;
    /** All of it: {"calls": {group: {call: {code: count}}}, "complaints": {words: count},
     * "lost": n}. */
    [[nodiscard]] nlohmann::json report() const;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, std::map<std::string, std::map<int, long>>> calls_;
    std::map<std::string, long> complaints_;
    std::size_t lost_ = 0;
};

/** What malloc takes for so many bytes. */
std::size_t chunk(std::size_t bytes);

} // namespace soak
