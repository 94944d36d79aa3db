#pragma once

#include "support/ldap_message.h"
#include "system/listener.h"

#include <string>
#include <thread>
#include <vector>

namespace test {

/** What happens on one connection. */
struct Visit {
    qldapx_test::Bytes answer;                 // to the first request after the bind
    bool ends = false;                         // the connection, after the answers
    std::vector<qldapx_test::Bytes> more = {}; // to further requests
};

/**
 * A server for one connection after the other: takes the bind, answers the next requests with
 * given bytes, and then nothing more.
 */
class Peer {
  public:
    explicit Peer(std::vector<Visit> visits);
    explicit Peer(qldapx_test::Bytes answer) : Peer(std::vector<Visit>{{std::move(answer)}}) {}
    ~Peer();
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }

  private:
    void serve() const;

    const std::vector<Visit> visits_;
    Listener listener_;
    std::thread thread_;
};

} // namespace test
