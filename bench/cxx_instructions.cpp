// cxx_instructions list - names what can be counted.
// cxx_instructions WHAT c|cxx N - the same work N times in C and in C++, for callgrind to count
// instructions of:
//
//   counts      an entry count
//   events      an event is taken from the session, looked into by its kind, and released
//   elements    one walk over a schema of 100 attribute types
//   adds        an add of ten attributes that are there is encoded
//   built-adds  the same, with the list of attributes made anew
#include "cxx_loops.h"
#include "exchange.h"
#include "subschema.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <openldap.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using bench::tlv;

/** A session with a server that has accepted a registration and reports events on it. */
class EventServer {
  public:
    explicit EventServer(int events) {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
            std::abort();
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            serve(ends[1], events);
        }
        close(ends[1]);
        const int version = LDAP_VERSION3;
        if (ldap_init_fd(ends[0], LDAP_PROTO_TCP, "ldap:///", &ld_) != LDAP_SUCCESS)
            std::abort();
        ldap_set_option(ld_, LDAP_OPT_PROTOCOL_VERSION, &version);
    }
    ~EventServer() {
        ldap_unbind_ext_s(ld_, nullptr, nullptr);
        waitpid(process_, nullptr, 0);
    }
    EventServer(const EventServer &) = delete;
    EventServer &operator=(const EventServer &) = delete;
    [[nodiscard]] LDAP *session() const { return ld_; }

  private:
    // The registration is the session's first message.
    static std::string message(const std::string &operation) {
        return tlv(0x30, tlv(0x02, "\x01") + operation);
    }
    static std::string number(int value) {
        return tlv(0x02, std::string(1, static_cast<char>(value)));
    }
    // Kind 121: connection, INTEGERs, two strings, INTEGER.
    static std::string event() {
        const std::string connection = tlv(0x30, number(1) + number(2) + tlv(0x04, "10.0.0.1"));
        const std::string payload = tlv(0x79, connection + number(1) + number(2) + number(3) +
                                                  tlv(0x04, "2.16.840.1.907341.1.27.100.13") +
                                                  tlv(0x04, "cn=admin") + number(4));
        const std::string zero = tlv(0x02, std::string_view("\0", 1));
        return tlv(0x79, tlv(0x80, "2.16.840.1.907341.1.27.100.81") +
                             tlv(0x81, tlv(0x30, number(21) + zero + payload)));
    }
    [[noreturn]] static void serve(int socket, int events) {
        const std::string accepted =
            tlv(0x30,
                number(1) + tlv(0x31, tlv(0x30, number(7) + tlv(0x0a, std::string_view("\0", 1)))));
        std::string all = message(bench::success("2.16.840.1.907341.1.27.100.80", accepted));
        for (int i = 0; i < events; ++i)
            all += message(event());
        for (std::size_t sent = 0; sent < all.size();) {
            const ssize_t size = write(socket, all.data() + sent, all.size() - sent);
            if (size <= 0)
                _exit(1);
            sent += static_cast<std::size_t>(size);
        }
        std::array<char, 256> rest{};
        while (read(socket, rest.data(), rest.size()) > 0)
            ;
        _exit(0);
    }

    LDAP *ld_ = nullptr;
    pid_t process_ = -1;
};

struct Work {
    const char *name;
    bench::Loop c, cxx;
};

constexpr Work works[] = {
    {"counts", bench::c::counts, bench::cxx::counts},
    {"events", bench::c::events, bench::cxx::events},
    {"elements", bench::c::elements, bench::cxx::elements},
    {"adds", bench::c::adds, bench::cxx::adds},
    {"built-adds", bench::c::builtAdds, bench::cxx::builtAdds},
};

int run(const Work &work, bench::Loop loop, int rounds, const char *program) {
    if (work.c == bench::c::counts)
        return loop(bench::Peer(program).session(), rounds);
    if (work.c == bench::c::events)
        return loop(EventServer(rounds).session(), rounds);
    if (work.c == bench::c::elements)
        return loop(bench::Subschema(100).session(), rounds);
    return loop(nullptr, rounds);
}

} // namespace

int main(int argc, char **argv) {
    bench::Peer::serveIfAsked(argc, argv, bench::countAnswer);
    for (const Work &work : works) {
        if (argc == 2)
            std::puts(work.name);
        else if (argc == 4 && std::strcmp(argv[1], work.name) == 0)
            return run(work, std::strcmp(argv[2], "cxx") == 0 ? work.cxx : work.c,
                       std::atoi(argv[3]), argv[0]) < 0;
    }
    if (argc == 2)
        return 0;
    std::fprintf(stderr, "usage: %s list | WHAT c|cxx N\n", argv[0]);
    return 2;
}
