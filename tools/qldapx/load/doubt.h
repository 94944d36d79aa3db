#pragma once

#include "load/channel.h"
#include "load/options.h"

#include <optional>
#include <vector>

namespace qldapx {

/** A record that had been sent when the load broke, and was not answered. */
struct DoubtfulRecord {
    /** What the server has to say about it. */
    enum class Verdict {
        Done,    // what it asks for is there
        NotDone, // it is not
        Unknown, // it was tried, since a later one was carried out
        Unclear, // nobody can tell
    };
    Record record;
    std::optional<RecordFault> fault; // it had been put into the rejects, or not
    Verdict verdict = Verdict::Unclear;
};

/** Looks on the server, record by record, what was carried out. */
void judge(Channel &channel, std::vector<DoubtfulRecord> &records, bool bulk);

} // namespace qldapx
