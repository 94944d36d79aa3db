// extops PAIRS - round trips of one administrative operation: the library's against the same by
// hand, in short blocks that take turns, so that a machine that changes its speed changes both.
//
// Prints one line per figure: name, value. The ratio is the median of the pairs' ratios.
#include "exchange.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int block = 100;

char dn[] = "ou=people,dc=example,dc=com";

int byLibrary(LDAP *ld, int *count) {
    return ldap_partition_entry_count(ld, dn, count);
}

int byHand(LDAP *ld, int *count) {
    return bench::countByHand(ld, dn, count);
}

double roundTripsPerSecond(LDAP *ld, int (*operation)(LDAP *, int *)) {
    auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < block; ++round) {
        int count = 0;
        if (operation(ld, &count) != LDAP_SUCCESS || count != 4711) {
            std::fputs("the exchange failed\n", stderr);
            std::exit(1);
        }
    }
    return block / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

int main(int argc, char **argv) {
    bench::Peer::serveIfAsked(argc, argv, bench::countAnswer);
    int pairs = argc == 2 ? std::atoi(argv[1]) : 0;
    if (pairs < 1) {
        std::fprintf(stderr, "usage: %s PAIRS\n", argv[0]);
        return 2;
    }
    bench::Peer peer(argv[0]);
    std::vector<double> library;
    std::vector<double> hand;
    std::vector<double> ratios;
    for (int pair = 0; pair < pairs; ++pair) {
        library.push_back(roundTripsPerSecond(peer.session(), byLibrary));
        hand.push_back(roundTripsPerSecond(peer.session(), byHand));
        ratios.push_back(library.back() / hand.back());
    }
    std::printf("library %.0f\nhand %.0f\nratio %.4f\n", median(library), median(hand),
                median(ratios));
    return 0;
}
