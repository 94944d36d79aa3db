#include "memory/trial.h"

#include <cstdio>
#include <unistd.h>

namespace qldapx_test::memory {

void Trial::begin(const char *function) {
    function_ = function;
    tell('C', 0);
    failedHere_ = false;
    if (left_ > 0)
        failing_memory::failAllocation(left_, shortage_);
}

void Trial::end() {
    if (left_ == 0)
        return;
    const long before = left_;
    left_ = failing_memory::untilFailure();
    failedHere_ = failing_memory::disarm();
    if (failedHere_)
        failing_ = function_;
    if (failedHere_ || left_ < before)
        tell(failedHere_ ? 'F' : 'A', before - left_);
}

void Trial::judge(bool isDone, Without without, bool isFailure) {
    const bool mayBeDone = !failedHere_ || without == Without::mayGoOn;
    expect(isDone ? mayBeDone : failedHere_ && isFailure, "another result");
}

void Trial::tellResult(char about, int result) const {
    if (failedHere_)
        tell(about, result);
}

void Trial::lost(long blocks, long allowed) const {
    const bool isContract = blocks > 0 && blocks <= allowed;
    if (blocks != 0)
        tell(isContract ? 'K' : 'L', isContract ? blocks : blocks - allowed);
}

void Trial::expect(bool holds, const char *what) {
    if (holds)
        return;
    char line[256];
    const int length = std::snprintf(line, sizeof line, "X %s %ld %s\n",
                                     failing_ != nullptr ? failing_ : function_, number_, what);
    static_cast<void>(!::write(report_, line, static_cast<std::size_t>(length)));
}

void Trial::tell(char about, long number) const {
    const char *function = failing_ != nullptr && about != 'C' ? failing_ : function_;
    char line[128];
    const int length = std::snprintf(line, sizeof line, "%c %s %ld\n", about, function, number);
    static_cast<void>(!::write(report_, line, static_cast<std::size_t>(length)));
}

} // namespace qldapx_test::memory
