#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qldapx {

/** Why a record cannot be loaded. */
struct RecordFault {
    unsigned long line = 0; // of the record's text, from 0
    std::string reason;
};

/** Where things stand in a record's text. */
struct RecordLayout {
    std::size_t body = 0;    // behind what comes before the dn: comments, version
    unsigned long line = 0;  // that the body begins at, from 0
    unsigned long lines = 0; // of the whole text
    bool empty = true;       // there is nothing but comments and a version
    std::vector<std::size_t> controls;
    std::uint64_t fileBytes = 0; // of the files that values are read from
};

/**
 * Looks at a record before libldap does: for what libldap would drop without a word, crash on,
 * or read for ever. What is left to libldap is base64 and the order of a modification's values.
 */
std::optional<RecordFault> checkRecord(std::string_view text, RecordLayout &layout);

/** The line of the text, from 0, that the so-manieth line of libldap's count begins at. */
unsigned long physicalLine(std::string_view text, unsigned long logical);

} // namespace qldapx
