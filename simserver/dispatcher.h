#pragma once

#include "directory.h"
#include "extended/registry.h"
#include "faults.h"
#include "operations/operations.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace stratasim {

/** What the session has to do about one received message. */
struct Outcome {
    std::int32_t id = 0;
    std::string bytes;                   // to be sent
    std::unique_ptr<OpenOperation> open; // has more to say
    std::chrono::milliseconds delay{0};  // before the bytes are sent, or the connection dropped
    bool drop = false;                   // end the connection in place of the bytes
    bool cut = false;                    // end it behind the bytes, without a farewell
    bool close = false;                  // end the connection when the bytes are sent
    std::optional<std::int32_t> abandon; // stop this operation
    bool abandonAll = false;             // stop all operations
    std::string note;                    // for the log
};

/** Turns received messages into what is to be done about them; knows nothing of sockets. */
class Dispatcher {
  public:
    Dispatcher(Directory &directory, const Faults &faults)
        : directory_(directory), faults_(faults) {}

    /** Serves one whole LDAPMessage of a connection. */
    Outcome handle(Connection &connection, Bytes message);
    /** Serves a message that has waited for its turn. */
    Outcome resume(Connection &connection, Bytes message);
    /** Ends a connection whose bytes cannot be taken for LDAP. */
    static Outcome disconnect(const std::string &why);

    /** What goes wrong with the next handshake of TLS. */
    Fault nextHandshake();

    Directory &directory() { return directory_; }

  private:
    Outcome serve(Connection &connection, const Request &request);
    void serveSearch(Connection &connection, const Request &request, Outcome &outcome);
    void serveBind(Connection &connection, const Request &request, Outcome &outcome);
    void serveExtended(Connection &connection, const Request &request, Outcome &outcome);
    /** What goes wrong with the next answer to an operation, by its OID, or step of a bind. */
    std::optional<Fault> faultOf(std::string_view answered) const;
    /** That answer has been made. */
    void count(std::string_view answered) { ++answered_[std::string(answered)]; }
    ExtendedReply replyTo(Connection &connection, const ExtendedRequest &request,
                          const Fault *fault, ExtendedAftermath &after);

    Directory &directory_;
    const Faults &faults_;
    std::map<std::string, std::uint64_t, std::less<>> answered_; // how often
};

} // namespace stratasim
