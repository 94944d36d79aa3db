// crew.h - the threads of the soak: they work until all are told to rest or to stop. While they
// rest none of them has anything open that it does not keep for ever, so that memory, descriptors
// and threads can be counted.
#pragma once

#include "beat.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace soak {

class Crew {
  public:
    Crew() = default;
    ~Crew();
    Crew(const Crew &) = delete;
    Crew &operator=(const Crew &) = delete;

    /** Starts a thread; the work asks goOn again and again. */
    void add(const std::string &name, const std::function<void(Beat &)> &work);

    /** Of a thread: tidies up and stays away while there is rest; false when it has to end. */
    bool goOn(
        Beat &beat, const std::function<void()> &tidy = [] {});
    /** Of a thread: whether it should come to goOn soon. */
    bool isCalled();

    /** Waits until all threads rest. */
    void rest();
    void resume();
    /** Ends all threads; a rest as well. */
    void stop();

    /** The threads that have made no progress for so long, with what they were at. */
    std::vector<std::string> hanging(std::chrono::seconds patience);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Beat> beats_;
    std::vector<std::thread> threads_;
    std::size_t resting_ = 0;
    bool restWanted_ = false;
    bool stopWanted_ = false;
};

} // namespace soak
