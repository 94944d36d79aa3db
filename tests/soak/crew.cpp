#include "crew.h"

namespace soak {

Crew::~Crew() {
    stop();
}

void Crew::add(const std::string &name, const std::function<void(Beat &)> &work) {
    Beat &beat = beats_.emplace_back(name);
    threads_.emplace_back([&beat, work] { work(beat); });
}

bool Crew::goOn(Beat &beat, const std::function<void()> &tidy) {
    if (isCalled())
        tidy();
    std::unique_lock lock(mutex_);
    if (restWanted_ && !stopWanted_) {
        beat.idle();
        ++resting_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !restWanted_ || stopWanted_; });
        --resting_;
    }
    return !stopWanted_;
}

bool Crew::isCalled() {
    const std::lock_guard lock(mutex_);
    return restWanted_ || stopWanted_;
}

void Crew::rest() {
    std::unique_lock lock(mutex_);
    restWanted_ = true;
    changed_.wait(lock, [this] { return resting_ == threads_.size(); });
}

void Crew::resume() {
    const std::lock_guard lock(mutex_);
    restWanted_ = false;
    changed_.notify_all();
}

void Crew::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopWanted_ = true;
        changed_.notify_all();
    }
    for (std::thread &thread : threads_)
        thread.join();
    threads_.clear();
}

std::vector<std::string> Crew::hanging(std::chrono::seconds patience) {
    std::vector<std::string> all;
    for (const Beat &beat : beats_)
        if (beat.hangs(patience))
            all.push_back(beat.name() + " at " + beat.on());
    return all;
}

} // namespace soak
