#include "exchange.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <openldap.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr const char *peerArgument = "--serve-as-peer";
constexpr std::string_view responseOid = "2.16.840.1.907341.1.27.100.14";

std::string tlv(int tag, std::string_view contents) {
    std::string element{static_cast<char>(tag), static_cast<char>(contents.size())};
    return element.append(contents);
}

// ExtendedResponse: success, the entry count's OID, the INTEGER 4711.
std::string answerTo(std::string_view messageId) {
    std::string result = tlv(0x0a, std::string_view("\0", 1)) + tlv(0x04, "") + tlv(0x04, "");
    std::string body =
        result + tlv(0x8a, responseOid) + tlv(0x8b, tlv(0x02, std::string_view("\x12\x67", 2)));
    return tlv(0x30, std::string(messageId) + tlv(0x78, body));
}

// Requests are small and come one at a time: each read is one message, or the unbind.
[[noreturn]] void serve(int socket) {
    std::array<char, 4096> request{};
    for (;;) {
        ssize_t size = read(socket, request.data(), request.size());
        if (size < 7 || request[static_cast<std::size_t>(request[3]) + 4] == 0x42)
            _exit(0);
        auto idLength = static_cast<std::size_t>(request[3]) + 2;
        std::string answer = answerTo({request.data() + 2, idLength});
        if (write(socket, answer.data(), answer.size()) < 0)
            _exit(0);
    }
}

} // namespace

Peer::Peer(const char *program) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        std::abort();
    process_ = fork();
    if (process_ == 0) {
        std::string number = std::to_string(dup(ends[1]));
        execl(program, program, peerArgument, number.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    close(ends[1]);
    int version = LDAP_VERSION3;
    if (ldap_init_fd(ends[0], LDAP_PROTO_TCP, "ldap:///", &ld_) != LDAP_SUCCESS)
        std::abort();
    ldap_set_option(ld_, LDAP_OPT_PROTOCOL_VERSION, &version);
}

Peer::~Peer() {
    ldap_unbind_ext_s(ld_, nullptr, nullptr);
    waitpid(process_, nullptr, 0);
}

void Peer::serveIfAsked(int argc, char **argv) {
    if (argc == 3 && std::strcmp(argv[1], peerArgument) == 0)
        serve(std::atoi(argv[2]));
}

int countByHand(LDAP *ld, const char *dn, int *count) {
    berval *request = nullptr;
    berval *value = nullptr;
    char *oid = nullptr;
    BerElement *ber = ber_alloc_t(0);
    if (ber == nullptr)
        return LDAP_NO_MEMORY;
    int result = ber_printf(ber, "s", dn) == -1 ? LDAP_ENCODING_ERROR : LDAP_SUCCESS;
    if (result == LDAP_SUCCESS && ber_flatten(ber, &request) == -1)
        result = LDAP_NO_MEMORY;
    if (result == LDAP_SUCCESS)
        result = ldap_extended_operation_s(ld, "2.16.840.1.907341.1.27.100.13", request, nullptr,
                                           nullptr, &oid, &value);
    if (result == LDAP_SUCCESS &&
        (oid == nullptr || std::memcmp(oid, responseOid.data(), responseOid.size() + 1) != 0))
        result = LDAP_NOT_SUPPORTED;
    if (result == LDAP_SUCCESS && value == nullptr)
        result = LDAP_OPERATIONS_ERROR;
    if (result == LDAP_SUCCESS) {
        BerElement *decoder = ber_init(value);
        if (decoder == nullptr)
            result = LDAP_NO_MEMORY;
        else {
            result = ber_scanf(decoder, "i", count) == LBER_ERROR ? LDAP_ENCODING_ERROR : result;
            ber_free(decoder, 1);
        }
    }
    if (oid != nullptr)
        ldap_memfree(oid);
    if (value != nullptr)
        ber_bvfree(value);
    if (request != nullptr)
        ber_bvfree(request);
    ber_free(ber, 1);
    return result;
}

} // namespace bench
