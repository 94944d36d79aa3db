// backup stream - backs up and restores an object of 64 MiB in pieces of 1 MiB; prints how many
// MiB a second go over the socket and how much memory a call takes at most, in pieces.
// backup chunks N - one backup and one restore of a piece that has N chunk sizes, for callgrind.
// Lines are: name, value.
#include "exchange.h"
#include "support/failing_memory.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

namespace memory = qldapx_test::failing_memory;

constexpr int pieceSize = 1 << 20;
constexpr int pieces = 64;

char dn[] = "cn=object,dc=example,dc=com";
char password[] = "secret";

std::string number(int value) {
    std::string bytes;
    for (int shift : {24, 16, 8, 0})
        bytes += static_cast<char>(value >> shift);
    return bench::tlv(0x02, bytes);
}

// A piece with so many chunk sizes.
std::string piece(int size, int chunks) {
    std::string sizes;
    for (int i = 0; i < chunks; ++i)
        sizes += bench::tlv(0x30, number(4096));
    return number(size) + number(5) + number(7) +
           bench::tlv(0x04, std::string(static_cast<std::size_t>(size), 'x')) +
           bench::tlv(0x30, number(chunks) + bench::tlv(0x31, sizes));
}

// The peer's answers; it is told by the environment how many chunk sizes a piece has.
std::string answer(std::string_view request) {
    static const char *chunks = std::getenv("BENCH_CHUNKS");
    static const std::string value =
        chunks != nullptr ? piece(0, std::atoi(chunks)) : piece(pieceSize, 256);
    // Backups ask under an OID that ends in 96, restores in 98.
    return request.substr(0, 64).find("1.27.100.96") != request.npos
               ? bench::success("2.16.840.1.907341.1.27.100.97", value)
               : bench::success("2.16.840.1.907341.1.27.100.99", "");
}

struct Object {
    char *state = nullptr;
    char *data = nullptr;
    char *sizes = nullptr;
    int length = 0;

    void backup(LDAP *ld) {
        if (ldap_backup_object(ld, dn, password, &state, &data, &sizes, &length) != LDAP_SUCCESS)
            std::exit(1);
    }
    void restore(LDAP *ld) {
        if (ldap_restore_object(ld, dn, password, data, sizes, length) != LDAP_SUCCESS)
            std::exit(1);
    }
    void release() {
        ldapx_memfree(data);
        ldapx_memfree(sizes);
    }
};

double inPieces(long bytes) {
    return static_cast<double>(bytes) / pieceSize;
}

void stream(LDAP *ld) {
    long backupPeak = 0, restorePeak = 0;
    Object object;
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < pieces; ++i) {
        memory::markPeak();
        object.backup(ld);
        backupPeak = std::max(backupPeak, memory::peakBytes());
        memory::markPeak();
        object.restore(ld);
        restorePeak = std::max(restorePeak, memory::peakBytes());
        object.release();
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ldapx_memfree(object.state);
    std::printf("mib-per-second %.0f\nbackup-peak %.4f\nrestore-peak %.4f\n",
                2 * inPieces(static_cast<long>(pieces) * pieceSize) / seconds, inPieces(backupPeak),
                inPieces(restorePeak));
}

void once(LDAP *ld) {
    Object object;
    object.backup(ld);
    object.restore(ld);
    object.release();
    ldapx_memfree(object.state);
}

} // namespace

int main(int argc, char **argv) {
    bench::Peer::serveIfAsked(argc, argv, answer);
    bool streams = argc == 2 && std::strcmp(argv[1], "stream") == 0;
    if (!streams && (argc != 3 || std::strcmp(argv[1], "chunks") != 0)) {
        std::fprintf(stderr, "usage: %s stream | chunks N\n", argv[0]);
        return 2;
    }
    if (!streams)
        setenv("BENCH_CHUNKS", argv[2], 1);
    bench::Peer peer(argv[0]);
    if (streams)
        stream(peer.session());
    else
        once(peer.session());
    return 0;
}
