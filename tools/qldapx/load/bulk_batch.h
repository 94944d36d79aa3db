#pragma once

#include "load/record.h"

#include <cstdint>
#include <vector>

namespace qldapx {

/** Records that go in one request. Its memory is used for one request after the other. */
struct BulkBatch {
    std::vector<Record> records;
    std::size_t count = 0;
    std::size_t bytes = 0;
    int id = 0;
    int number = 0; // of its sequence; 0: in none
    std::uint64_t item = 0;
    bool isCounted = false; // what has become of it

    void add(Record &record) {
        if (count == records.size())
            records.emplace_back();
        bytes += record.size();
        records[count++].swap(record);
    }
    void clear() {
        for (std::size_t i = 0; i < count; ++i)
            records[i].forget();
        count = bytes = 0;
        id = number = 0;
        isCounted = false;
    }
};

} // namespace qldapx
