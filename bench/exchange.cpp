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
constexpr std::string_view countOid = "2.16.840.1.907341.1.27.100.14";

// Reads so many bytes more; the end of the connection ends the process.
void readMore(int socket, std::string &message, std::size_t size) {
    std::size_t have = message.size();
    message.resize(have + size);
    while (size > 0) {
        ssize_t got = read(socket, message.data() + have, size);
        if (got <= 0)
            _exit(0);
        have += static_cast<std::size_t>(got);
        size -= static_cast<std::size_t>(got);
    }
}

// One LDAPMessage; *idAt receives the place of its message id.
std::string readMessage(int socket, std::size_t *idAt) {
    std::string message;
    readMore(socket, message, 2);
    std::size_t length = static_cast<unsigned char>(message[1]);
    if (length > 0x80) {
        std::size_t width = length - 0x80;
        readMore(socket, message, width);
        length = 0;
        for (std::size_t i = 0; i < width; ++i)
            length = length << 8 | static_cast<unsigned char>(message[2 + i]);
    }
    *idAt = message.size();
    readMore(socket, message, length);
    return message;
}

void writeAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t put = write(socket, bytes.data(), bytes.size());
        if (put <= 0)
            _exit(0);
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
}

[[noreturn]] void serve(int socket, const Answer &answer) {
    for (;;) {
        std::size_t idAt = 0;
        std::string request = readMessage(socket, &idAt);
        std::string id = request.substr(idAt, static_cast<std::size_t>(request[idAt + 1]) + 2);
        if (request[idAt + id.size()] == 0x42) // unbind
            _exit(0);
        writeAll(socket, tlv(0x30, id + answer(request)));
    }
}

} // namespace

std::string tlv(int tag, std::string_view contents) {
    std::string element{static_cast<char>(tag)};
    std::size_t size = contents.size();
    if (size < 0x80)
        element += static_cast<char>(size);
    else
        for (int byte : {0x84, static_cast<int>(size >> 24), static_cast<int>(size >> 16),
                         static_cast<int>(size >> 8), static_cast<int>(size)})
            element += static_cast<char>(byte);
    return element.append(contents);
}

std::string success(std::string_view responseOid, std::string_view value) {
    std::string result = tlv(0x0a, std::string_view("\0", 1)) + tlv(0x04, "") + tlv(0x04, "");
    return tlv(0x78, result + tlv(0x8a, responseOid) + tlv(0x8b, value));
}

std::string countAnswer(std::string_view /*request*/) {
    return success(countOid, tlv(0x02, std::string_view("\x12\x67", 2)));
}

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

void Peer::serveIfAsked(int argc, char **argv, const Answer &answer) {
    if (argc == 3 && std::strcmp(argv[1], peerArgument) == 0)
        serve(std::atoi(argv[2]), answer);
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
        (oid == nullptr || std::memcmp(oid, countOid.data(), countOid.size() + 1) != 0))
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
