#pragma once

#include "system/listener.h"

#include <atomic>
#include <string>
#include <thread>

namespace test {

/**
 * Stands between clients and a server, and alters what the server says, by a number: the same one
 * alters the same answers in the same way. One connection after the other.
 */
class AlteringRelay {
  public:
    explicit AlteringRelay(const std::string &serverUri);
    ~AlteringRelay();
    AlteringRelay(const AlteringRelay &) = delete;
    AlteringRelay &operator=(const AlteringRelay &) = delete;

    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }
    /** How the answers of the next connections are altered. */
    void begin(unsigned long long number) { number_ = number; }

  private:
    void serve();
    void relay(int client);

    const std::string server_;
    Listener listener_;
    std::atomic<unsigned long long> number_{0};
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

} // namespace test
