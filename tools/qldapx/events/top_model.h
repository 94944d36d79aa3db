#pragma once

#include "events/rate.h"
#include "events/stream.h"

#include <deque>
#include <map>

namespace qldapx {

/** What the screen shows. */
struct TopModel {
    struct Type {
        std::string record = "-"; // of the last one
        std::uint64_t count = 0;
        std::uint64_t errors = 0; // with a result that is no success
        Rate rate;
    };

    void add(const Event &event);
    /** All counting begins anew. */
    void reset();
    [[nodiscard]] std::uint64_t count() const;
    [[nodiscard]] std::uint64_t errors() const;

    std::string server; // empty before the first registration
    std::string loss;   // not empty: why nothing comes at present
    bool paused = false;
    Moment since = std::chrono::system_clock::now();
    std::map<std::int32_t, Type> types;
    Rate rate;
    std::uint64_t gaps = 0;
    std::uint64_t undecodable = 0;
    std::deque<std::string> latest; // a line each, the newest last
};

} // namespace qldapx
