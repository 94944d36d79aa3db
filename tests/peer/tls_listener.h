// tls_listener.h - servers that speak no TLS.
#pragma once

#include <optional>
#include <string>
#include <thread>

namespace test {

class TlsListener {
  public:
    // Answers each client's first bytes with these and ends the connection; without any: lets them
    // connect and never says anything.
    explicit TlsListener(std::optional<std::string> greeting = std::nullopt);
    ~TlsListener();
    TlsListener(const TlsListener &) = delete;
    TlsListener &operator=(const TlsListener &) = delete;

    [[nodiscard]] std::string uri() const;

  private:
    void serve() const;

    const std::optional<std::string> greeting_;
    int listener_, port_ = 0;
    std::thread thread_;
};

} // namespace test
