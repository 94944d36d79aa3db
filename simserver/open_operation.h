#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace stratasim {

/**
 * An operation whose answer is not one message, or comes later. The session asks it for bytes
 * when the client has room for them, and forgets it when it is done or abandoned.
 */
class OpenOperation {
  public:
    /** Serve: the request has waited, and is to be served now as if it had just been received. */
    enum class Progress { More, Waiting, Done, Serve };

    virtual ~OpenOperation() = default;
    /** Appends about `budget` bytes of whole messages, or fewer when they take long to find. */
    virtual Progress produce(std::string &out, std::size_t budget) = 0;
    /** After produce() has said Waiting, `wake` is called as soon as there is more. */
    virtual void onReady(const std::function<void()> & /*wake*/) {}
    /** After produce() has said Serve: the whole message of the request. */
    virtual std::string takeRequest() { return {}; }
};

} // namespace stratasim
