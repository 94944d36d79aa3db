#pragma once

#include "ber.h"
#include "open_operation.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

namespace stratasim {

/** How the server takes bulk updates. */
struct LburpSettings {
    bool served = true;
    std::size_t transactionSize = 100; // operations in one request
};

class WaitingRequest;

/**
 * The bulk update of one connection. Its operation requests have numbers from 1 on and are served
 * in that order, the end after the last of them. What arrives before its turn waits.
 */
class LburpSequence {
  public:
    LburpSequence() = default;
    LburpSequence(const LburpSequence &) = delete;
    LburpSequence &operator=(const LburpSequence &) = delete;

    // All of these throw operationsError for what has no place in the sequence.
    void start();
    /**
     * Null when it is the turn of the request with that number; otherwise it waits. Throws busy
     * when too many wait already.
     */
    std::unique_ptr<OpenOperation> awaitOperation(std::int32_t number, Bytes message);
    /** The same for the end, which names the last number. */
    std::unique_ptr<OpenOperation> awaitEnd(std::int32_t number, Bytes message);

    /** The request whose turn it was is done. */
    void advance() { ++next_; }
    /** Closes it; whatever still waits is forgotten. */
    void drop();

    /** How many wait for a request that has not come. */
    std::size_t stuck() const { return waiting_.contains(next_) ? 0 : waiting_.size(); }

  private:
    friend class WaitingRequest;
    enum class Kind { Operation, End };

    void requireOpen() const;
    bool endWaits() const;
    std::int64_t firstMissing() const;
    std::unique_ptr<OpenOperation> wait(std::int64_t place, Kind kind, Bytes message);
    void forget(const WaitingRequest &request);
    bool isTurnOf(const WaitingRequest &request) const;

    bool open_ = false;
    std::int64_t next_ = 1;
    std::map<std::int64_t, WaitingRequest *> waiting_; // the end behind the last number
    std::size_t waitingBytes_ = 0;
};

} // namespace stratasim
