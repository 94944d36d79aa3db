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
        NotDone, // it is not, and the update may not have been tried
        Failed,  // it is not, although a later update was carried out
        Unknown, // it was tried, and what became of it has been changed again since
        Unclear, // nobody can tell
    };
    Record record;
    std::optional<RecordFault> fault; // malformed: it was never sent
    Verdict verdict = Verdict::Unclear;
};

/**
 * Looks on the server, record by record, what was carried out. The updates of a bulk update were
 * carried out in their order: one that was certainly done tells that those before it were tried.
 */
void judge(Channel &channel, std::vector<DoubtfulRecord> &records, bool bulk, bool bulkRenames);

} // namespace qldapx
