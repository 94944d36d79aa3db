#include "free_port.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

std::optional<int> freePort(const char *address) {
    addrinfo hints{}, *info = nullptr;
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_STREAM;
    if (getaddrinfo(address, "0", &hints, &info) != 0)
        return std::nullopt;
    int probe = socket(info->ai_family, SOCK_STREAM, 0);
    sockaddr_in6 given{}; // the larger one; the port is at the same place in both
    socklen_t size = sizeof given;
    bool found = bind(probe, info->ai_addr, info->ai_addrlen) == 0 &&
                 getsockname(probe, reinterpret_cast<sockaddr *>(&given), &size) == 0;
    close(probe);
    freeaddrinfo(info);
    return found ? std::optional<int>(ntohs(given.sin6_port)) : std::nullopt;
}

} // namespace test
