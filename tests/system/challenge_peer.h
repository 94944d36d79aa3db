#pragma once

#include "support/ldap_message.h"
#include "system/listener.h"

#include <string>
#include <thread>

namespace test {

/**
 * A server for one connection that answers the first step of a bind with a challenge, and keeps all
 * that comes afterwards.
 */
class ChallengePeer {
  public:
    explicit ChallengePeer(std::string challenge);
    ~ChallengePeer();
    ChallengePeer(const ChallengePeer &) = delete;
    ChallengePeer &operator=(const ChallengePeer &) = delete;

    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }
    /** The bytes of the first request, and of what followed until the client ended. */
    [[nodiscard]] const qldapx_test::Bytes &first();
    [[nodiscard]] const qldapx_test::Bytes &rest();

  private:
    void serve();

    std::string challenge_;
    Listener listener_;
    qldapx_test::Bytes first_, rest_;
    std::thread thread_;
};

} // namespace test
