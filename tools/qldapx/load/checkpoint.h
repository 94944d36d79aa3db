#pragma once

#include "load/counts.h"

#include <chrono>
#include <string>

namespace qldapx {

/** How far the file is, and the checksum of its records up to there. */
struct Position {
    std::uint64_t record = 0;
    std::uint32_t checksum = 0;
};

/** What is loaded, where and how. */
struct LoadIdentity {
    std::string file, server, bindDn;
};

/** What has become of a load so far. */
struct LoadState {
    Position settled; // all records up to here: done, in the rejects, or reported
    Position sent;    // nothing behind this one has been sent
    bool bulk = true; // how those in between were sent
    Counts counts;    // of the settled ones
};

/**
 * The file that a broken load is resumed from. It is valid JSON: a list of two states with a
 * serial number and a checksum each, in blocks of a fixed size that are written in turn. Whatever
 * ends the process in the middle of a write, the other block is whole and true, since a state is
 * written before what it allows is sent.
 */
class Checkpoint {
  public:
    /** Creates it, or replaces it. Throws Failure. */
    Checkpoint(std::string path, const LoadIdentity &identity, const LoadState &state);
    ~Checkpoint();
    Checkpoint(const Checkpoint &) = delete;
    Checkpoint &operator=(const Checkpoint &) = delete;

    struct Saved {
        LoadIdentity identity;
        LoadState state;
    };
    static bool exists(const std::string &path);
    /** Throws UsageError when there is none that can be used. */
    static Saved read(const std::string &path);

    [[nodiscard]] const std::string &path() const { return path_; }
    /** All of these throw Failure. */
    void write(const LoadState &state);
    void sync();
    void remove();

  private:
    using Clock = std::chrono::steady_clock;
    [[nodiscard]] std::string block(const LoadState &state);
    void create(const LoadState &state);
    bool writeAt(std::string_view text, std::size_t offset) const;
    [[noreturn]] void fail(const char *what = "the checkpoint cannot be written",
                           const char *hint = "make room, or choose another place with "
                                              "--checkpoint") const;

    std::string path_;
    std::string head_; // what stays the same
    std::size_t blockSize_;
    std::uint64_t serial_ = 0;
    int descriptor_ = -1;
    Clock::time_point synced_ = Clock::now();
};

} // namespace qldapx
