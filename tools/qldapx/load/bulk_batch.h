#pragma once

#include "load/record.h"

#include <cstdint>
#include <qldapx.h>
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

/** What the server says did not work. */
class BulkFailures {
  public:
    BulkFailures() = default;
    ~BulkFailures() {
        for (int i = 0; i < count; ++i)
            ldap_memfree(list[i].errorMessage);
        ldapx_memfree(list);
    }
    BulkFailures(const BulkFailures &) = delete;
    BulkFailures &operator=(const BulkFailures &) = delete;

    int count = 0;
    LBURPOperationFailure *list = nullptr;
};

} // namespace qldapx
