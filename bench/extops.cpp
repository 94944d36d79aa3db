// Round trips of one administrative operation: the library's against the same by hand.
#include "exchange.h"

#include <benchmark/benchmark.h>

namespace {

const bench::Peer *peer = nullptr;
char dn[] = "ou=people,dc=example,dc=com";

void roundTrip(benchmark::State &state, int (*operation)(LDAP *, int *)) {
    for (auto unused : state) {
        int count = 0;
        if (operation(peer->session(), &count) != LDAP_SUCCESS || count != 4711)
            state.SkipWithError("the exchange failed");
    }
    state.SetItemsProcessed(state.iterations());
}

int byLibrary(LDAP *ld, int *count) {
    return ldap_partition_entry_count(ld, dn, count);
}
int byHand(LDAP *ld, int *count) {
    return bench::countByHand(ld, dn, count);
}

BENCHMARK_CAPTURE(roundTrip, library, byLibrary)->UseRealTime();
BENCHMARK_CAPTURE(roundTrip, hand, byHand)->UseRealTime();

} // namespace

int main(int argc, char **argv) {
    bench::Peer::serveIfAsked(argc, argv);
    bench::Peer own(argv[0]);
    peer = &own;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
