#pragma once

#include "system/listener.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

/** Where a relay ends a connection. */
struct Cut {
    enum class Way { Requests, Answers } way = Way::Requests;
    std::size_t message = 1; // which one that way, from 1; the bind is the first
    enum class Where { Before, Within, After } where = Where::Before;
};

/**
 * Stands between a client and a server, counts the LDAP messages that pass, and ends connections
 * where the test says. One connection at a time. The server has done with an ended connection, and
 * with all that came over it, before there is a next one.
 */
class Relay {
  public:
    /** Cuts the first connections, one each; the others pass. */
    explicit Relay(const std::string &serverUri, std::vector<Cut> cuts = {});
    ~Relay();
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;

    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }
    /** Of the connection that is or was there last. */
    [[nodiscard]] std::size_t requests() const { return requests_; }
    [[nodiscard]] std::size_t answers() const { return answers_; }
    [[nodiscard]] std::size_t connections() const { return connections_; }
    [[nodiscard]] bool isIdle() {
        const std::scoped_lock lock(mutex_);
        return !busy_;
    }
    /** Until the last connection is done with. */
    void awaitIdle();
    /** From now on answers are kept, until `release`. */
    void hold() { held_ = true; }
    void release() { held_ = false; }

  private:
    struct Stream;
    void serve();
    void relay(int client);
    bool pass(Stream &stream, const Cut *cut);

    std::vector<Cut> cuts_;
    std::string server_;
    Listener listener_;
    std::atomic<std::size_t> requests_{0}, answers_{0}, connections_{0};
    std::atomic<bool> held_{false}, ending_{false};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool busy_ = false;
    std::thread thread_;
};

} // namespace test
