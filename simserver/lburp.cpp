#include "lburp.h"

#include "result.h"

#include <fmt/format.h>

#include <string>
#include <utility>

namespace stratasim {

/**
 * A request of a bulk update that has arrived before its turn. Nothing wakes it: its turn comes
 * when the session has served another request, after which it asks all that is open.
 */
class WaitingRequest : public OpenOperation {
  public:
    WaitingRequest(LburpSequence &sequence, std::int64_t place, LburpSequence::Kind kind,
                   Bytes message)
        : sequence_(sequence), place_(place), kind_(kind), bytes_(message.size()),
          message_(asText(message)) {}
    ~WaitingRequest() override { sequence_.forget(*this); }
    WaitingRequest(const WaitingRequest &) = delete;
    WaitingRequest &operator=(const WaitingRequest &) = delete;

    std::int64_t place() const { return place_; }
    LburpSequence::Kind kind() const { return kind_; }
    std::size_t bytes() const { return bytes_; }

    Progress produce(std::string & /*out*/, std::size_t /*budget*/) override {
        return sequence_.isTurnOf(*this) ? Progress::Serve : Progress::Waiting;
    }
    std::string takeRequest() override { return std::exchange(message_, {}); }

  private:
    LburpSequence &sequence_;
    std::int64_t place_;
    LburpSequence::Kind kind_;
    std::size_t bytes_;
    std::string message_;
};

namespace {

// What may wait on one connection.
constexpr std::size_t kMostWaiting = 64;
constexpr std::size_t kMostWaitingBytes = 16U * 1024 * 1024;

[[noreturn]] void fail(const std::string &why) {
    throw OperationError(ResultCode::OperationsError, why);
}

} // namespace

void LburpSequence::requireOpen() const {
    if (!open_)
        fail("no bulk update is open: a start request is expected first");
}

void LburpSequence::start() {
    if (open_)
        fail("a bulk update is open already: its end is expected first");
    open_ = true;
    next_ = 1;
}

bool LburpSequence::endWaits() const {
    return !waiting_.empty() && waiting_.rbegin()->second->kind() == Kind::End;
}

/** The first number that has not arrived; when the end waits, the place behind it. */
std::int64_t LburpSequence::firstMissing() const {
    std::int64_t number = next_;
    while (waiting_.contains(number))
        ++number;
    return number;
}

std::unique_ptr<OpenOperation> LburpSequence::awaitOperation(std::int32_t number, Bytes message) {
    requireOpen();
    if (endWaits() && number >= waiting_.rbegin()->first)
        fail(fmt::format("operation request {} comes after the end: none is expected", number));
    if (number < next_ || waiting_.contains(number))
        fail(fmt::format("operation request {} {}: {} is expected", number,
                         number < 1 ? "is none, numbers begin at 1" : "was there already",
                         firstMissing()));
    return number == next_ ? nullptr : wait(number, Kind::Operation, message);
}

std::unique_ptr<OpenOperation> LburpSequence::awaitEnd(std::int32_t number, Bytes message) {
    requireOpen();
    if (endWaits())
        fail("the end was there already: it waits for the operation requests before it");
    const std::int64_t missing = firstMissing();
    if (!waiting_.empty() && waiting_.rbegin()->first > missing)
        fail(
            fmt::format("operation request {} is missing: it is expected before the end", missing));
    if (number != missing - 1)
        fail(fmt::format("the end names operation request {} as the last one: {} is expected",
                         number, missing - 1));
    return missing == next_ ? nullptr : wait(missing, Kind::End, message);
}

std::unique_ptr<OpenOperation> LburpSequence::wait(std::int64_t place, Kind kind, Bytes message) {
    if (waiting_.size() == kMostWaiting || waitingBytes_ + message.size() > kMostWaitingBytes)
        throw OperationError(
            ResultCode::Busy,
            fmt::format("too much waits for operation request {}: at most {} requests of {} bytes "
                        "together may",
                        firstMissing(), kMostWaiting, kMostWaitingBytes));
    auto request = std::make_unique<WaitingRequest>(*this, place, kind, message);
    waiting_.emplace(place, request.get());
    waitingBytes_ += request->bytes();
    return request;
}

void LburpSequence::forget(const WaitingRequest &request) {
    const auto found = waiting_.find(request.place());
    if (found == waiting_.end() || found->second != &request)
        return; // the sequence was dropped meanwhile
    waiting_.erase(found);
    waitingBytes_ -= request.bytes();
}

bool LburpSequence::isTurnOf(const WaitingRequest &request) const {
    const auto found = waiting_.find(next_);
    return found != waiting_.end() && found->second == &request;
}

void LburpSequence::drop() {
    open_ = false;
    waiting_.clear();
    waitingBytes_ = 0;
}

} // namespace stratasim
