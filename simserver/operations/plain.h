#pragma once

#include "directory.h"
#include "events/origin.h"
#include "operations/controls.h"
#include "operations/operations.h"

#include <cstdint>
#include <utility>

namespace stratasim {

/** An operation that is answered with one LDAPResult. */
struct PlainOperation {
    std::uint8_t request;
    std::uint8_t response;
    const char *name;
    Result (*handler)(Context &, Bytes);
};

/** By the tag of the request; nullptr when there is none. */
const PlainOperation *findPlain(std::uint8_t request);

/** Serves the request for `who`, or whom its controls name instead, and raises its event. */
Result servePlain(const PlainOperation &operation, Directory &directory, Connection &connection,
                  const Identity &who, const Request &request);

/** Says what the server is about, as long as it lives. */
class OriginScope {
  public:
    OriginScope(Directory &directory, const Origin &origin)
        : directory_(directory), outer_(std::exchange(directory.origin, &origin)) {}
    ~OriginScope() { directory_.origin = outer_; }
    OriginScope(const OriginScope &) = delete;
    OriginScope &operator=(const OriginScope &) = delete;

  private:
    Directory &directory_;
    const Origin *outer_;
};

/** Calls `operation` with the context in which the controls of the request want it served. */
template <typename Operation>
auto inContext(Directory &directory, Connection &connection, const Identity &who,
               const Request &request, const Operation &operation) {
    const auto proxied = proxiedIdentity(directory, who, request);
    requireControls(request);
    Context context{directory, connection, proxied ? *proxied : who};
    const Origin origin{connection, request.id, context.identity};
    const OriginScope scope(directory, origin);
    return operation(context);
}

} // namespace stratasim
