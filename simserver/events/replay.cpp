#include "events/replay.h"

#include "events/replay_line.h"
#include "text.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace stratasim {
namespace {

// Events in one go: all clients have their turn after it.
constexpr int kTurn = 500;
constexpr std::chrono::milliseconds kTick{2};
// Lines of a pipe are read ahead of what is published, but not further than this.
constexpr std::size_t kMaxLine = 64U * 1024 * 1024;

constexpr const char *kStandardInput = "/dev/stdin";

} // namespace

Replay::Replay(asio::io_context &io, EventFeed &feed, const ReplaySettings &settings, Report report)
    : io_(io), feed_(feed), settings_(settings), report_(std::move(report)), timer_(io), pipe_(io) {
    if (settings_.file.empty())
        return;
    open();
    feed_.onDemand([this] {
        unwanted_ = 0;
        wake();
    });
}

Replay::~Replay() {
    feed_.onDemand(nullptr);
}

void Replay::open() {
    const char *path = settings_.file == "-" ? kStandardInput : settings_.file.c_str();
    struct stat status {};
    if (stat(path, &status) != 0)
        throw std::runtime_error(
            fmt::format("cannot read {}: {}", settings_.file, std::strerror(errno)));
    if (S_ISDIR(status.st_mode))
        throw std::runtime_error(fmt::format("cannot read {}: it is a directory", settings_.file));
    if (S_ISREG(status.st_mode))
        return load();
    // Open for writing too: a FIFO has no end then, its writers may come and go.
    const bool fifo = S_ISFIFO(status.st_mode) && settings_.file != "-";
    const int descriptor = settings_.file == "-"
                               ? dup(STDIN_FILENO)
                               : ::open(path, (fifo ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC);
    asio::error_code error;
    if (descriptor >= 0)
        pipe_.assign(descriptor, error);
    if (descriptor < 0 || error)
        throw std::runtime_error(
            fmt::format("cannot read {}: {}", settings_.file, std::strerror(errno)));
    isPipe_ = true;
    feed_.allowAll();
}

void Replay::load() {
    std::ifstream file(settings_.file == "-" ? kStandardInput : settings_.file.c_str());
    if (!file)
        throw std::runtime_error(
            fmt::format("cannot read {}: {}", settings_.file, std::strerror(errno)));
    std::size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (trim(line).empty())
            continue;
        try {
            events_.push_back(parseReplayLine(line));
        } catch (const std::runtime_error &error) {
            throw std::runtime_error(
                fmt::format("{}: line {}: {}", settings_.file, number, error.what()));
        }
        feed_.allow(events_.back()->type());
    }
}

void Replay::stop() {
    asio::error_code ignored;
    timer_.cancel();
    pipe_.close(ignored);
    feed_.onDemand(nullptr);
}

/** There is something to be done, after what the clients have to do. */
void Replay::wake() {
    if (std::exchange(pumpPosted_, true))
        return;
    asio::post(io_, [this] {
        pumpPosted_ = false;
        pump();
    });
}

/** Publishes what may be published now. */
void Replay::pump() {
    if (!feed_.isMonitored()) {
        running_ = false;
        return;
    }
    if (!running_)
        restartClock();
    for (int left = kTurn; left > 0; --left)
        if (!publishNext())
            return;
    wake();
}

/** False when there is nothing more to do until something changes. */
bool Replay::publishNext() {
    const EventPointer *event = next();
    if (event == nullptr)
        return false;
    if (settings_.rate > 0 && passed_ >= due()) {
        waitForTime();
        return false;
    }
    const auto demand = feed_.demand((*event)->type());
    if (settings_.rate == 0 && demand == EventFeed::Demand::Full)
        return false; // the fastest of those who monitor it sets the pace
    if (demand != EventFeed::Demand::None) {
        feed_.publish(*event);
        unwanted_ = 0;
    } else if (++unwanted_ > events_.size() && !isPipe_) {
        return false; // a whole round for nobody: until somebody else comes
    }
    advance();
    return true;
}

/** The next event; null when there is none, or none yet. */
const EventPointer *Replay::next() {
    if (isPipe_ && events_.empty())
        readPipe();
    if (events_.empty() || (!isPipe_ && settings_.repeat > 0 && round_ == settings_.repeat))
        return nullptr;
    return &events_[at_];
}

void Replay::advance() {
    ++passed_;
    if (isPipe_) {
        events_.pop_front();
    } else if (++at_ == events_.size()) {
        at_ = 0;
        ++round_;
    }
}

void Replay::restartClock() {
    running_ = true;
    start_ = std::chrono::steady_clock::now();
    passed_ = 0;
}

/** How many events should have passed by now. */
std::uint64_t Replay::due() {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    return static_cast<std::uint64_t>(elapsed.count() * static_cast<double>(settings_.rate)) + 1;
}

void Replay::waitForTime() {
    timer_.expires_after(kTick);
    timer_.async_wait([this](const asio::error_code &error) {
        if (!error)
            wake();
    });
}

void Replay::readPipe() {
    if (reading_ || !pipe_.is_open())
        return;
    reading_ = true;
    pipe_.async_read_some(asio::buffer(buffer_),
                          [this](const asio::error_code &error, std::size_t size) {
                              reading_ = false;
                              onRead(error, size);
                          });
}

void Replay::onRead(const asio::error_code &error, std::size_t size) {
    if (error) {
        asio::error_code ignored;
        pipe_.close(ignored);
        size = 0;
        if (!unfinished_.empty() || skipping_)
            buffer_[size++] = '\n'; // the last line ends with the pipe
    }
    std::string_view rest(buffer_.data(), size);
    for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
        unfinished_.append(rest.substr(0, end));
        takeLine(unfinished_);
        unfinished_.clear();
        rest.remove_prefix(end + 1);
    }
    unfinished_.append(rest);
    if (unfinished_.size() > kMaxLine) {
        skipping_ = true;
        unfinished_.clear();
    }
    wake();
}

void Replay::takeLine(std::string_view line) {
    ++line_;
    std::string why = fmt::format("the line is longer than {} bytes", kMaxLine);
    if (!std::exchange(skipping_, false)) {
        if (trim(line).empty())
            return;
        try {
            events_.push_back(parseReplayLine(line));
            return;
        } catch (const std::runtime_error &error) {
            why = error.what();
        }
    }
    report_(fmt::format("{}: line {}: {}; the line is skipped", settings_.file, line_, why));
}

} // namespace stratasim
