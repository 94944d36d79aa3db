#pragma once

#include "connection.h"
#include "directory.h"
#include "message.h"
#include "open_operation.h"

#include <memory>

namespace stratasim {

/** What an operation works with. */
struct Context {
    Directory &directory;
    Connection &connection;
    const Identity &identity; // who it is served as: the connection's identity or a proxied one
};

// Each takes the content of its protocolOp, throws ber::Error when that is not what RFC 4511
// says, and OperationError when the operation fails.
Result add(Context &context, Bytes body);
Result remove(Context &context, Bytes body);
Result modify(Context &context, Bytes body);
Result modifyDn(Context &context, Bytes body);
Result compare(Context &context, Bytes body);
std::unique_ptr<OpenOperation> search(Context &context, const Request &request);

/** The root DSE as it is now for that connection, in no tree. */
std::shared_ptr<Node> makeRootDse(const Directory &directory, const Connection &connection);

} // namespace stratasim
