#include "session.h"

#include "events/connection_events.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace stratasim {
namespace {

// Above this much unsent output nothing more is read from the client.
constexpr std::size_t kMaxUnsent = 4U * 1024 * 1024;
// Searches add to the output while there is less than this, a slice at a time.
constexpr std::size_t kEnoughUnsent = 512U * 1024;
constexpr std::size_t kSlice = 64U * 1024;
// A client with this many operations under way has to wait before the next one is read.
constexpr std::size_t kMaxRunning = 100;
// A buffer that has grown beyond this is given back when it is empty.
constexpr std::size_t kKeepCapacity = 256U * 1024;

} // namespace

Session::Session(asio::io_context &io, std::unique_ptr<Stream> stream, Dispatcher &dispatcher,
                 const Settings &settings, std::uint64_t number, OnClosed onClosed)
    : io_(io), stream_(std::move(stream)), dispatcher_(dispatcher), settings_(settings),
      onClosed_(std::move(onClosed)), lastMessageTimer_(io), idleTimer_(io) {
    connection_.number = number;
    connection_.peer = stream_->peer();
}

void Session::start() {
    ++dispatcher_.directory().monitor.connections;
    ++dispatcher_.directory().monitor.totalConnections;
    raiseConnectionOpened(dispatcher_.directory(), connection_);
    stream_->open(
        [self = shared_from_this()](const Stream::Opened &opened) { self->onOpen(opened); });
}

void Session::onOpen(const Stream::Opened &opened) {
    if (state_ != State::Serving)
        return;
    if (!opened.note.empty())
        log(opened.note);
    connection_.security = opened.security;
    if (!opened.ready)
        end();
    lastMoved_ = std::chrono::steady_clock::now();
    awaitIdleness();
    proceed();
}

bool Session::hasRoom() const {
    return unsent_.size() + sending_.size() < kMaxUnsent;
}

bool Session::mayServe() const {
    return state_ <= State::ClientFinished && hasRoom() &&
           running_.size() - connection_.watches < kMaxRunning;
}

/** Only changes, or requests that the client no longer sends, would bring further answers. */
bool Session::nothingToCome() const {
    return running_.size() == connection_.watches + connection_.lburp.stuck();
}

void Session::read() {
    if (reading_ || state_ != State::Serving || !mayServe())
        return;
    reading_ = true;
    stream_->readSome(buffer_,
                      [self = shared_from_this()](const asio::error_code &error, std::size_t size) {
                          self->reading_ = false;
                          self->onRead(error, size);
                      });
}

void Session::onRead(const asio::error_code &error, std::size_t size) {
    if (state_ != State::Serving)
        return;
    if (error == asio::error::eof)
        state_ = State::ClientFinished; // it may still want its answers
    else if (error)
        return close();
    lastMoved_ = std::chrono::steady_clock::now();
    received_.append(buffer_.data(), size);
    proceed();
}

/** Does whatever can be done now, and arranges for the rest. */
void Session::proceed() {
    serveMessages();
    more_ = produce();
    flush();
    read();
    if (more_ || (stalled_ && mayServe()))
        proceedLater();
}

void Session::proceedLater() {
    if (std::exchange(proceedPosted_, true))
        return;
    asio::post(io_, [self = shared_from_this()] {
        self->proceedPosted_ = false;
        self->proceed();
    });
}

void Session::serveMessages() {
    std::size_t used = 0;
    while (mayServe()) {
        const Bytes rest = asBytes(received_).subspan(used);
        const ber::Frame frame = ber::frameOf(rest, settings_.maxMessage);
        if (frame.status == ber::Frame::Status::Incomplete)
            break;
        if (frame.status == ber::Frame::Status::Complete) {
            apply(dispatcher_.handle(connection_, rest.first(frame.length)));
        } else {
            const bool large = frame.status == ber::Frame::Status::TooLarge;
            apply(Dispatcher::disconnect(
                large ? fmt::format("the message is larger than {} bytes", settings_.maxMessage)
                      : "what was sent is no LDAPMessage"));
        }
        used += frame.length;
    }
    received_.erase(0, used);
    stalled_ = !received_.empty() && !mayServe();
    if (received_.empty() && received_.capacity() > kKeepCapacity)
        received_.shrink_to_fit();
}

void Session::log(const std::string &what) const {
    if (settings_.log)
        settings_.log(fmt::format("connection {} {}", connection_.number, what));
}

void Session::apply(Outcome outcome) {
    log(fmt::format("message {} {}", outcome.id, outcome.note));
    if (outcome.abandonAll)
        running_.clear();
    if (outcome.abandon)
        running_.erase(*outcome.abandon);
    if (running_.contains(outcome.id) && outcome.id != 0)
        outcome = Dispatcher::disconnect("the message id is in use");
    if (outcome.delay.count() > 0)
        return delay(std::move(outcome));
    if (outcome.drop)
        return end();
    unsent_ += outcome.bytes;
    if (outcome.open)
        run(outcome, nullptr);
    cut_ = outcome.cut;
    if (outcome.close || outcome.cut)
        end();
}

void Session::run(Outcome &outcome, std::unique_ptr<asio::steady_timer> timer) {
    if (outcome.open)
        outcome.open->onReady([this] { proceedLater(); });
    running_.emplace(outcome.id, Running{std::move(outcome.open), std::move(timer)});
}

void Session::delay(Outcome outcome) {
    auto timer = std::make_unique<asio::steady_timer>(io_, outcome.delay);
    const std::int32_t id = outcome.id;
    timer->async_wait([self = shared_from_this(), own = timer.get(),
                       bytes = std::move(outcome.bytes), drop = outcome.drop, cut = outcome.cut,
                       id](const asio::error_code &error) {
        if (error || self->state_ > State::ClientFinished)
            return;
        // Abandoned after the timer had run out: the id may be another operation's by now.
        const auto running = self->running_.find(id);
        if (running == self->running_.end() || running->second.timer.get() != own)
            return;
        self->unsent_ += drop ? std::string() : bytes;
        running->second.timer.reset();
        if (!running->second.operation)
            self->running_.erase(running);
        self->cut_ = cut;
        if (drop || cut)
            self->end();
        self->proceed();
    });
    run(outcome, std::move(timer));
}

/**
 * Lets each running search in turn add a slice to the output; true when there is more to add,
 * unless that has to wait until the client has taken some.
 */
bool Session::produce() {
    bool more = false;
    if (state_ > State::ClientFinished)
        return more;
    auto next = running_.upper_bound(lastProduced_);
    for (std::size_t left = running_.size(); left > 0; --left) {
        if (next == running_.end())
            next = running_.begin();
        const auto current = next++;
        if (!current->second.operation || current->second.timer)
            continue;
        if (unsent_.size() + sending_.size() >= kEnoughUnsent)
            return more || sending_.empty(); // goes on when the client has taken some
        lastProduced_ = current->first;
        const auto progress = current->second.operation->produce(unsent_, kSlice);
        if (progress == OpenOperation::Progress::Serve) {
            serveWaiting(current);
            return true; // one at a time: other clients have their turn
        }
        if (progress == OpenOperation::Progress::Done)
            running_.erase(current);
        else if (progress == OpenOperation::Progress::More)
            more = true;
    }
    return more;
}

void Session::serveWaiting(std::map<std::int32_t, Running>::iterator waiting) {
    const std::string message = waiting->second.operation->takeRequest();
    running_.erase(waiting);
    apply(dispatcher_.resume(connection_, asBytes(message)));
}

void Session::flush() {
    if (!sending_.empty() || state_ == State::Closed)
        return;
    if (!unsent_.empty()) {
        const std::size_t sent = stream_->tryWrite(unsent_);
        if (sent > 0)
            lastMoved_ = std::chrono::steady_clock::now();
        if (sent < unsent_.size()) {
            sending_.swap(unsent_);
            return sendFrom(sent);
        }
        unsent_.clear();
        if (unsent_.capacity() > kKeepCapacity)
            unsent_.shrink_to_fit();
    }
    afterFlush();
}

/** Sends what is left of `sending_`, in pieces, so that a client that takes some is not idle. */
void Session::sendFrom(std::size_t start) {
    const std::string_view piece = std::string_view(sending_).substr(start, kSlice);
    const std::size_t end = start + piece.size();
    stream_->write(piece,
                   [self = shared_from_this(), end](const asio::error_code &error, std::size_t) {
                       if (error)
                           return self->close();
                       self->lastMoved_ = std::chrono::steady_clock::now();
                       if (end < self->sending_.size())
                           return self->sendFrom(end);
                       self->sending_.clear();
                       self->proceed();
                   });
}

/** Everything is sent: what was to happen after that may happen. */
void Session::afterFlush() {
    if (state_ == State::Ending)
        drain();
    else if (state_ == State::ClientFinished && !more_ && nothingToCome())
        close(); // nobody is left to abandon what only waits
}

} // namespace stratasim
