#include "load/counts.h"

namespace qldapx {

Tally &Tally::operator+=(const Tally &other) {
    done += other.done;
    failed += other.failed;
    unknown += other.unknown;
    inDoubt += other.inDoubt;
    return *this;
}

Tally Counts::total() const {
    Tally sum;
    for (const Tally &each : updates)
        sum += each;
    return sum;
}

Counts &Counts::operator+=(const Counts &other) {
    for (std::size_t i = 0; i < updateKinds; ++i)
        updates[i] += other.updates[i];
    for (const auto &[code, count] : other.results)
        results[code] += count;
    malformed += other.malformed;
    return *this;
}

} // namespace qldapx
