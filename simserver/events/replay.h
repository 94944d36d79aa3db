#pragma once

#include "events/feed.h"

#include <asio.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace stratasim {

/** What is to be replayed. */
struct ReplaySettings {
    std::string file;         // "-" is the standard input; empty: nothing
    std::uint64_t rate = 0;   // events a second; 0: as fast as they are taken
    std::uint64_t repeat = 1; // how often a regular file is replayed; 0: for ever
};

/**
 * Publishes events from JSON lines while there is somebody who monitors any. The lines of a
 * regular file are read once, before anything else; those of a pipe as they are needed.
 */
class Replay {
  public:
    using Report = std::function<void(const std::string &)>;

    /**
     * Throws std::runtime_error when the file cannot be read or one of its lines is no event;
     * such a line of a pipe is reported and skipped.
     */
    Replay(asio::io_context &io, EventFeed &feed, const ReplaySettings &settings, Report report);
    ~Replay();
    Replay(const Replay &) = delete;
    Replay &operator=(const Replay &) = delete;

    /** Lets go of everything that keeps the program running. */
    void stop();

  private:
    void open();
    void load();
    void wake();
    void pump();
    bool publishNext();
    const EventPointer *next();
    void advance();
    std::uint64_t due();
    void restartClock();
    void waitForTime();

    void readPipe();
    void onRead(const asio::error_code &error, std::size_t size);
    void takeLine(std::string_view line);

    asio::io_context &io_;
    EventFeed &feed_;
    ReplaySettings settings_;
    Report report_;
    asio::steady_timer timer_;
    asio::posix::stream_descriptor pipe_;
    bool isPipe_ = false;

    std::deque<EventPointer> events_; // of a pipe, those that have been read and not published
    std::size_t at_ = 0;              // of a file, the next one
    std::uint64_t round_ = 0;         // of a file
    std::size_t unwanted_ = 0;        // how many in a row nobody wanted
    bool pumpPosted_ = false;

    std::chrono::steady_clock::time_point start_;
    std::uint64_t passed_ = 0; // events since then
    bool running_ = false;     // the clock goes

    std::array<char, 64 * 1024> buffer_;
    std::string unfinished_; // the beginning of a line
    std::uint64_t line_ = 0;
    bool reading_ = false;
    bool skipping_ = false; // the rest of a line that is too long
};

} // namespace stratasim
