// cyrus_client.h - cyrus-sasl's client of DIGEST-MD5: user joe, password secret, no security layer.
#pragma once

#include <sasl/sasl.h>
#include <string_view>

namespace bench {

class CyrusClient {
  public:
    // Up to where it waits for a challenge.
    CyrusClient();
    ~CyrusClient() { sasl_dispose(&connection_); }
    CyrusClient(const CyrusClient &) = delete;
    CyrusClient &operator=(const CyrusClient &) = delete;

    void answer(std::string_view challenge);

  private:
    sasl_conn_t *connection_ = nullptr;
};

} // namespace bench
