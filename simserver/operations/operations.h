#pragma once

#include "connection.h"
#include "directory.h"
#include "message.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace stratasim {

/** What an operation works with. */
struct Context {
    Directory &directory;
    Connection &connection;
    const Identity &identity; // who it is served as: the connection's identity or a proxied one
};

/**
 * An operation whose answer is not one message. The session asks it for bytes when the client
 * has room for them, and forgets it when it is done or abandoned.
 */
class OpenOperation {
  public:
    enum class Progress { More, Waiting, Done };

    virtual ~OpenOperation() = default;
    /** Appends about `budget` bytes of whole messages, or fewer when they take long to find. */
    virtual Progress produce(std::string &out, std::size_t budget) = 0;
    /** After produce() has said Waiting, `wake` is called as soon as there is more. */
    virtual void onReady(std::function<void()> /*wake*/) {}
};

// Each takes the content of its protocolOp, throws ber::Error when that is not what RFC 4511
// says, and OperationError when the operation fails.
Result bind(Context &context, Bytes body);
Result add(Context &context, Bytes body);
Result remove(Context &context, Bytes body);
Result modify(Context &context, Bytes body);
Result modifyDn(Context &context, Bytes body);
Result compare(Context &context, Bytes body);
std::unique_ptr<OpenOperation> search(Context &context, const Request &request);

/** The root DSE as it is now, in no tree. */
std::shared_ptr<Node> makeRootDse(const Directory &directory);

} // namespace stratasim
