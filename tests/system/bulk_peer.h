#pragma once

#include "support/ldap_message.h"
#include "system/listener.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

constexpr const char *bulkArc = "2.16.840.1.907341.1.142.100.";

/** A request as a server sees it. */
struct BulkRequest {
    int id = 0;
    unsigned char tag = 0;        // of the operation
    int step = 0;                 // the last number of an extended operation's OID: 1, 6 or 4
    int number = 0;               // of the sequence
    std::size_t count = 0;        // of its operations
    qldapx_test::Bytes operation; // whole
};

/** What is sent then; anything else than the answer that a server of bulk updates gives. */
struct BulkReply {
    qldapx_test::Bytes bytes; // messages
    bool ends = false;        // the connection, after them
};

/**
 * A server for one connection after the other that takes binds, bulk updates and ordinary updates
 * and says that all went well, but for what the test has it say.
 */
class BulkPeer {
  public:
    /** Its answer to a request; none leaves it to the peer. */
    using Script = std::function<std::optional<BulkReply>(const BulkRequest &)>;

    explicit BulkPeer(Script script, int transactionSize = 100);
    BulkPeer() : BulkPeer([](const BulkRequest &) { return std::nullopt; }) {}
    ~BulkPeer();
    BulkPeer(const BulkPeer &) = delete;
    BulkPeer &operator=(const BulkPeer &) = delete;

    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }
    /** All that came so far. */
    [[nodiscard]] std::vector<BulkRequest> received() const;
    /** The requests of one step, 1, 6 or 4. */
    [[nodiscard]] std::vector<BulkRequest> received(int step) const;

  private:
    void serve();
    void entertain(int connection);
    bool reply(int connection, const BulkRequest &request) const;
    [[nodiscard]] qldapx_test::Bytes usual(const BulkRequest &request) const;

    const Script script_;
    const int transactionSize_;
    Listener listener_;
    mutable std::mutex mutex_;
    std::vector<BulkRequest> received_;
    std::thread thread_;
};

/** The answer to a request of a bulk update. */
qldapx_test::Bytes bulkAnswer(int id, int code, int step,
                              const std::optional<qldapx_test::Bytes> &value);
/** An entry of the list of failures. */
qldapx_test::Bytes bulkFailure(std::int64_t number, int code, const std::string &text);

} // namespace test
