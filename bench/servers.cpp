// servers ROUNDS SECONDS SOAK - base searches per second that strata-sim and slapd answer, in
// turn in one run; then SOAK requests to strata-sim, with its memory before and after.
//
// Prints one line per figure: name, value.
#include "simulator.h"
#include "slapd_server.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

using bench::openSession;
using bench::Simulator;

using Clock = std::chrono::steady_clock;

constexpr const char *base = "ou=people,dc=example,dc=com";
constexpr int clients = 4;

void searchOnce(LDAP *ld) {
    LDAPMessage *answer = nullptr;
    int result = ldap_search_ext_s(ld, base, LDAP_SCOPE_BASE, "(objectClass=*)", nullptr, 0,
                                   nullptr, nullptr, nullptr, 0, &answer);
    if (result != LDAP_SUCCESS || ldap_count_entries(ld, answer) != 1) {
        std::fprintf(stderr, "a search failed: %s\n", ldap_err2string(result));
        std::exit(1);
    }
    ldap_msgfree(answer);
}

// Searches from several clients at once until `more` says to end; gives their number.
template <class More>
long searchWhile(const std::string &uri, More more) {
    std::atomic<long> done{0};
    std::vector<std::thread> threads;
    for (int client = 0; client < clients; ++client)
        threads.emplace_back([&] {
            LDAP *ld = openSession(uri);
            while (more(done.load(std::memory_order_relaxed))) {
                searchOnce(ld);
                done.fetch_add(1, std::memory_order_relaxed);
            }
            ldap_unbind_ext_s(ld, nullptr, nullptr);
        });
    for (std::thread &thread : threads)
        thread.join();
    return done;
}

double searchesPerSecond(const std::string &uri, double seconds) {
    auto start = Clock::now();
    auto elapsed = [start] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    long done = searchWhile(uri, [&](long) { return elapsed() < seconds; });
    return static_cast<double>(done) / elapsed();
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s ROUNDS SECONDS SOAK\n", argv[0]);
        return 2;
    }
    Simulator simulator;
    {
        // slapd over TCP like the simulator: Unix sockets are cheaper.
        test::SlapdServer slapd(test::SlapdServer::Transport::tcp);
        for (int round = std::atoi(argv[1]); round > 0; --round) {
            std::printf("strata-sim %.0f\n",
                        searchesPerSecond(simulator.uri(), std::atof(argv[2])));
            std::printf("slapd %.0f\n", searchesPerSecond(slapd.uri(), std::atof(argv[2])));
        }
    }
    long soak = std::atol(argv[3]);
    auto soakBy = [&](long requests) {
        searchWhile(simulator.uri(), [requests](long done) { return done < requests; });
        return simulator.residentKib();
    };
    std::printf("rss-warm %ld\n", soakBy(soak / 10));
    std::printf("rss-after %ld\n", soakBy(soak));
    return 0;
}
