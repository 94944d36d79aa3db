// extops_instructions library|hand N - N entry counts, for callgrind to count instructions of.
#include "exchange.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv) {
    bench::Peer::serveIfAsked(argc, argv, bench::countAnswer);
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s library|hand N\n", argv[0]);
        return 2;
    }
    bench::Peer peer(argv[0]);
    bool library = std::strcmp(argv[1], "library") == 0;
    char dn[] = "ou=people,dc=example,dc=com";
    for (int round = std::atoi(argv[2]); round > 0; --round) {
        int count = 0;
        int result = library ? ldap_partition_entry_count(peer.session(), dn, &count)
                             : bench::countByHand(peer.session(), dn, &count);
        if (result != LDAP_SUCCESS || count != 4711)
            return 1;
    }
    return 0;
}
