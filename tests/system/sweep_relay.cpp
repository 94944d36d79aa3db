#include "system/sweep_relay.h"

#include <array>
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

/** Numbers that depend on nothing but the first one. */
class Numbers {
  public:
    explicit Numbers(unsigned long long first) : state_(first * 2 + 1) {}
    std::size_t below(std::size_t end) {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return end == 0 ? 0 : (state_ >> 33U) % end;
    }

  private:
    unsigned long long state_;
};

/** Where something printable begins that has at least so many bytes. */
std::size_t textIn(std::string_view bytes, std::size_t from, std::size_t size) {
    std::size_t run = 0;
    for (std::size_t i = from; i < bytes.size(); ++i) {
        run = bytes[i] >= ' ' && bytes[i] <= '~' ? run + 1 : 0;
        if (run == size)
            return i + 1 - size;
    }
    return std::string_view::npos;
}

// What would clear the screen, change its title, reorder a line or pass for another line.
constexpr std::string_view steering[] = {
    "\x1b[2J",
    "\x1b]0;x\x07",
    "\xc2\x9b"
    "2J",
    "\xe2\x80\xae",
    "\r\n\x1b[A",
    "\x7f\x08\x08",
    "\xff\xfe\n",
};

/** A text gets a part that steers terminals; lengths stay as they are. */
void alterText(std::string &bytes, Numbers &numbers) {
    const std::string_view part = steering[numbers.below(std::size(steering))];
    std::size_t at = textIn(bytes, numbers.below(bytes.size()), part.size());
    if (at == std::string::npos)
        at = textIn(bytes, 0, part.size());
    if (at != std::string::npos)
        bytes.replace(at, part.size(), part);
}

void alterBytes(std::string &bytes, Numbers &numbers) {
    constexpr unsigned char odd[] = {0x00, 0x01, 0x7f, 0x80, 0x84, 0xff, 0x30, 0x04, 0x0a};
    for (std::size_t count = 1 + numbers.below(3); count > 0; --count) {
        char &byte = bytes[numbers.below(bytes.size())];
        if (numbers.below(2) == 0)
            byte = static_cast<char>(odd[numbers.below(std::size(odd))]);
        else
            byte = static_cast<char>(byte ^ (1 << numbers.below(8)));
    }
}

/** The answer as it is sent; false: nothing comes after it. */
bool alter(std::string &bytes, Numbers &numbers) {
    switch (numbers.below(10)) {
    case 0:
        bytes.resize(numbers.below(bytes.size()));
        return false;
    case 1:
        bytes += bytes;
        return true;
    case 2:
        bytes.clear();
        return false;
    case 3:
    case 4:
    case 5:
        alterText(bytes, numbers);
        return true;
    default:
        alterBytes(bytes, numbers);
        return true;
    }
}

int connectTo(const std::string &uri) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(uri.substr(uri.rfind(':') + 1))));
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(connection, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return connection;
    close(connection);
    return -1;
}

bool pass(int from, int to, const auto &change) {
    std::array<char, 65536> buffer;
    const ssize_t got = recv(from, buffer.data(), buffer.size(), 0);
    if (got <= 0)
        return false;
    std::string bytes(buffer.data(), static_cast<std::size_t>(got));
    const bool goesOn = change(bytes);
    return (bytes.empty() || send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) && goesOn;
}

} // namespace

AlteringRelay::AlteringRelay(const std::string &serverUri)
    : server_(serverUri), thread_([this] { serve(); }) {}

AlteringRelay::~AlteringRelay() {
    ending_ = true;
    listener_.stop();
    thread_.join();
}

void AlteringRelay::serve() {
    for (int client = -1;
         (client = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        relay(client);
        close(client);
    }
}

// The first answer is mostly the bind's, which is spared more often than not.
void AlteringRelay::relay(int client) {
    const int server = connectTo(server_);
    Numbers numbers(number_);
    std::size_t spared = numbers.below(5) == 0 ? 0 : 1 + numbers.below(3) / 2;
    const auto asItIs = [](std::string & /*bytes*/) { return true; };
    const auto altered = [&](std::string &bytes) {
        return spared > 0 ? spared-- > 0 : alter(bytes, numbers);
    };
    for (bool goesOn = server >= 0; goesOn && !ending_;) {
        std::array<pollfd, 2> ends = {{{client, POLLIN, 0}, {server, POLLIN, 0}}};
        poll(ends.data(), ends.size(), 50);
        if (ends[0].revents != 0)
            goesOn = pass(client, server, asItIs);
        if (goesOn && ends[1].revents != 0)
            goesOn = pass(server, client, altered);
    }
    close(server);
}

} // namespace test
