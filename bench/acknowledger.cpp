// acknowledger [DELAY] - an LDAP server that answers every request with success, DELAY microseconds
// after it came (answers overlap), and does nothing else. Prints its port, then serves one
// connection after another until it is killed.
//
// A search answers with a root DSE that offers bulk update; a bulk update's start asks for 100
// operations in a request.
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string tlv(int tag, std::string_view contents) {
    std::string element(1, static_cast<char>(tag));
    if (contents.size() < 0x80)
        element += static_cast<char>(contents.size());
    else
        element +=
            {'\x82', static_cast<char>(contents.size() >> 8), static_cast<char>(contents.size())};
    return element.append(contents);
}

const std::string success = tlv(0x0a, std::string_view("\0", 1)) + tlv(4, "") + tlv(4, "");

// What is at the front of the bytes: nothing while it has not come whole.
struct Element {
    unsigned char tag = 0;
    std::string_view contents;
    std::size_t size = 0;
};

Element front(std::string_view bytes) {
    if (bytes.size() < 2)
        return {};
    auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    std::size_t length = at(1), head = 2;
    if (length >= 0x80) {
        head += length & 0x7f;
        if (bytes.size() < head)
            return {};
        length = 0;
        for (std::size_t i = 2; i < head; ++i)
            length = length << 8 | at(i);
    }
    if (bytes.size() - head < length)
        return {};
    return {at(0), bytes.substr(head, length), head + length};
}

// The extended response that makes up to the request: bulk update's OIDs go 1 to 2, 6 to 7, 4 to 5.
std::string extended(std::string_view request) {
    std::string oid(front(request).contents);
    ++oid.back();
    std::string value;
    if (oid.back() == '2')
        value = tlv(0x8b, tlv(0x30, tlv(2, "\x64")));
    return tlv(0x78, success + tlv(0x8a, oid) + value);
}

std::string rootDse() {
    std::string offered;
    for (const char *oid : {"2.16.840.1.907341.1.142.100.1", "2.16.840.1.907341.1.142.100.4",
                            "2.16.840.1.907341.1.142.100.6"})
        offered += tlv(4, oid);
    return tlv(0x64, tlv(4, "") +
                         tlv(0x30, tlv(0x30, tlv(4, "supportedExtension") + tlv(0x31, offered))));
}

void answer(std::string &out, std::string_view message) {
    Element id = front(message), request = front(message.substr(id.size));
    std::string head = tlv(2, id.contents);
    auto say = [&](std::string_view operation) { out += tlv(0x30, head + std::string(operation)); };
    switch (request.tag) {
    case 0x42: // unbind
    case 0x50: // abandon
        return;
    case 0x63:
        say(rootDse());
        return say(tlv(0x65, success));
    case 0x4a: // a delete request is primitive, its response is not
        return say(tlv(0x6b, success));
    case 0x77:
        return say(extended(request.contents));
    default:
        return say(tlv(request.tag + 1, success));
    }
}

// Answers that wait for their time.
class Connection {
  public:
    Connection(int fd, std::chrono::microseconds delay) : fd_(fd), delay_(delay) {}

    void serve() {
        bool isOpen = true;
        while (isOpen) {
            pollfd ready{fd_, POLLIN, 0};
            timespec wait{}, *patience = timeLeft(wait);
            if (ppoll(&ready, 1, patience, nullptr) > 0)
                isOpen = read();
            send();
        }
        close(fd_);
    }

  private:
    struct Waiting {
        Clock::time_point due;
        std::string bytes;
    };

    timespec *timeLeft(timespec &wait) const {
        if (waiting_.empty())
            return nullptr;
        auto left = std::max(Clock::duration(0), waiting_.front().due - Clock::now());
        wait.tv_nsec = std::chrono::nanoseconds(left).count();
        return &wait;
    }

    bool read() {
        if (in_.size() - filled_ < 65536)
            in_.resize(filled_ + (1 << 20));
        ssize_t count = recv(fd_, in_.data() + filled_, in_.size() - filled_, 0);
        if (count <= 0)
            return false;
        filled_ += static_cast<std::size_t>(count);
        std::string_view left(in_.data(), filled_);
        std::string answers;
        for (Element message; (message = front(left)).size > 0; left.remove_prefix(message.size))
            answer(answers, message.contents);
        std::copy(left.begin(), left.end(), in_.begin());
        filled_ = left.size();
        if (!answers.empty())
            waiting_.push_back({Clock::now() + delay_, std::move(answers)});
        return true;
    }

    void send() {
        for (; !waiting_.empty() && waiting_.front().due <= Clock::now(); waiting_.pop_front()) {
            std::string_view bytes = waiting_.front().bytes;
            while (!bytes.empty()) {
                ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
                if (count <= 0)
                    return;
                bytes.remove_prefix(static_cast<std::size_t>(count));
            }
        }
    }

    int fd_;
    std::chrono::microseconds delay_;
    std::vector<char> in_;
    std::size_t filled_ = 0;
    std::deque<Waiting> waiting_;
};

} // namespace

int main(int argc, char **argv) {
    std::chrono::microseconds delay(argc > 1 ? std::atol(argv[1]) : 0);
    prctl(PR_SET_TIMERSLACK, 1UL); // a delay of 1 ms shall be one
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        listen(listener, 8) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        std::perror("acknowledger");
        return 1;
    }
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    for (;;) {
        int fd = accept(listener, nullptr, nullptr), on = 1;
        if (fd < 0)
            return 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        Connection(fd, delay).serve();
    }
}
