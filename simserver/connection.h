#pragma once

#include "access.h"
#include "archives.h"
#include "events/record.h"
#include "lburp.h"
#include "result.h"
#include "sasl/offer.h"
#include "security.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace stratasim {

/** What the server knows of one client's connection, whatever carries its bytes. */
struct Connection {
    std::uint64_t number = 0;
    NetAddress peer;
    std::optional<Security> security; // nothing without TLS
    Identity identity;
    Backups backups;
    Restores restores;
    LburpSequence lburp;
    std::optional<digest::Offer> offer; // that the next bind may take up
    std::size_t watches = 0;            // persistent searches and registrations under way
    std::size_t waitingChanges = 0;     // bytes of changes that they keep for the client

    /** Counts one more watch; throws adminLimitExceeded when there are too many. */
    void beginWatch() {
        constexpr std::size_t most = 1000; // each costs a look at whatever happens
        if (watches == most)
            throw OperationError(ResultCode::AdminLimitExceeded,
                                 "1000 persistent searches and registrations for events are open "
                                 "on this connection");
        ++watches;
    }

    /** A bind begins: what the old identity had under way is not the new one's. */
    void forgetIdentity() {
        identity = {};
        backups.clear();
        restores = {};
        lburp.drop();
    }
};

} // namespace stratasim
