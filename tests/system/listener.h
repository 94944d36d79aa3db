#pragma once

#include <arpa/inet.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

/** A socket that listens on a free port of this machine alone. */
class Listener {
  public:
    Listener() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        if (bind(fd_, generic, size) != 0 || listen(fd_, 1) != 0 ||
            getsockname(fd_, generic, &size) != 0)
            throw std::runtime_error("no socket");
        uri_ = "ldap://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~Listener() { close(fd_); }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    [[nodiscard]] const std::string &uri() const { return uri_; }
    [[nodiscard]] int fd() const { return fd_; }
    /** Ends an accept() that another thread waits in. */
    void stop() const { shutdown(fd_, SHUT_RDWR); }

  private:
    int fd_;
    std::string uri_;
};

} // namespace test
