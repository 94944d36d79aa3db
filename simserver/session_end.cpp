// How a session ends: with what it has to say, because nothing moves, or at once.
#include "events/connection_events.h"
#include "session.h"

#include <algorithm>
#include <utility>

namespace stratasim {
namespace {

// How long a client has to take the last message before its connection is closed.
constexpr std::chrono::seconds kLastMessageTime{5};
// A connection that would be idle but for what the server itself has to do is looked at so often.
constexpr std::chrono::seconds kIdleStep{1};

} // namespace

/** Some of its bytes are missing, or some of ours are not taken; or there is nothing to do. */
bool Session::waitsForClient() const {
    return !sending_.empty() || running_.size() == connection_.lburp.stuck();
}

/** Looks at the connection again when it could have been idle for long enough. */
void Session::awaitIdleness() {
    if (settings_.idleTime.count() == 0 || state_ > State::ClientFinished)
        return;
    const auto due = lastMoved_ + settings_.idleTime;
    idleTimer_.expires_at(std::max(due, std::chrono::steady_clock::now() + kIdleStep));
    idleTimer_.async_wait([self = shared_from_this()](const asio::error_code &error) {
        if (!error)
            self->endIdle();
    });
}

void Session::endIdle() {
    const bool idle = std::chrono::steady_clock::now() >= lastMoved_ + settings_.idleTime;
    if (state_ > State::ClientFinished || !idle || !waitsForClient())
        return awaitIdleness();
    if (!sending_.empty()) {
        log("took nothing of what was sent for too long");
        return close();
    }
    log("has been idle for too long");
    end();
    proceed();
}

/** The client gets what has been said so far, and nothing more. */
void Session::end() {
    if (state_ > State::ClientFinished)
        return;
    running_.clear();
    state_ = State::Ending;
    lastMessageTimer_.expires_after(kLastMessageTime);
    lastMessageTimer_.async_wait([self = shared_from_this()](const asio::error_code &error) {
        if (!error)
            self->close();
    });
}

/**
 * Closing while the client's bytes are unread would reset the connection, and the client could
 * lose the last message: they are read and forgotten first.
 */
void Session::drain() {
    if (state_ == State::Ending) {
        state_ = State::Draining;
        cut_ ? stream_->cutSending() : stream_->finishSending();
    }
    stream_->readSome(buffer_,
                      [self = shared_from_this()](const asio::error_code &error, std::size_t) {
                          if (error)
                              self->close();
                          else if (self->state_ == State::Draining)
                              self->drain();
                      });
}

void Session::close() {
    if (std::exchange(state_, State::Closed) == State::Closed)
        return;
    --dispatcher_.directory().monitor.connections;
    running_.clear();
    raiseConnectionClosed(dispatcher_.directory(), connection_);
    lastMessageTimer_.cancel();
    idleTimer_.cancel();
    stream_->close();
    onClosed_(shared_from_this());
}

} // namespace stratasim
