#pragma once

#include "load/channel.h"

#include <optional>
#include <vector>

namespace qldapx {

/** A record that had been sent when the load broke, and was not answered. */
struct DoubtfulRecord {
    /** What the server has to say about it. */
    enum class Verdict {
        Done,    // what it asks for is there
        NotDone, // it is not
        Unknown, // it was tried, or would make no difference any more
        Unclear, // nobody can tell
    };
    Record record;
    std::optional<RecordFault> fault; // malformed: it was never sent
    Verdict verdict = Verdict::Unclear;
};

/**
 * Looks on the server, record by record, what was carried out. What is not to be seen is sent: a
 * second time only if it failed the first time. The updates of a bulk update are carried out in
 * their order: an entry that was added tells that those before it were tried.
 */
void judge(Channel &channel, std::vector<DoubtfulRecord> &records, bool bulk, bool bulkRenames);

} // namespace qldapx
