#include "subschema.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <openldap.h>
#include <random>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

std::string element(unsigned char tag, const std::string &content) {
    const auto size = static_cast<unsigned>(content.size());
    std::string bytes = {static_cast<char>(tag), '\x84'};
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        bytes += static_cast<char>(size >> shift & 0xff);
    return bytes + content;
}

std::string description(int number) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "( 2.16.840.1.907341.9.99.%d NAME 'bulkType%d' DESC 'One of many' EQUALITY "
                  "caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{64} SINGLE-VALUE "
                  "X-ORIGIN 'generated' )",
                  number, number);
    return text;
}

std::string subentry(int types) {
    std::vector<std::string> values;
    for (int i = 0; i < types; ++i)
        values.push_back(element(0x04, description(i)));
    std::shuffle(values.begin(), values.end(), std::mt19937(1)); // NOLINT: the same each time
    std::string all;
    for (const std::string &value : values)
        all += value;
    const std::string attribute =
        element(0x30, element(0x04, "attributeTypes") + element(0x31, all));
    return element(0x64, element(0x04, subschemaDn) + element(0x30, attribute));
}

std::string message(int id, const std::string &operation) {
    std::string number = {2, 4};
    for (const int shift : {24, 16, 8, 0})
        number += static_cast<char>(id >> shift & 0xff);
    return element(0x30, number + operation);
}

bool writeAll(int fd, const std::string &bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
        if (written <= 0)
            return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

// Takes what arrives at once for one search; its message id is the byte that libldap counts up.
[[noreturn]] void serve(int fd, int types) {
    const std::string entry = subentry(types);
    const std::string done = element(0x65, std::string("\x0a\x01\x00\x04\x00\x04\x00", 7));
    unsigned char request[4096];
    for (;;) {
        const ssize_t size = read(fd, request, sizeof request);
        if (size < 8)
            _exit(0);
        const std::size_t start = request[1] < 0x80 ? 2U : 2U + (request[1] & 0x7fU);
        int id = 0;
        for (std::size_t i = 0; i < request[start + 1]; ++i)
            id = id << 8 | request[start + 2 + i];
        if (!writeAll(fd, message(id, entry)) || !writeAll(fd, message(id, done)))
            _exit(0);
    }
}

} // namespace

Subschema::Subschema(int types) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        std::abort();
    server_ = fork();
    if (server_ == 0) {
        close(pair[0]);
        serve(pair[1], types);
    }
    close(pair[1]);
    if (ldap_init_fd(pair[0], LDAP_PROTO_TCP, "ldap://subschema.example", &session_) !=
        LDAP_SUCCESS)
        std::abort();
    const int version = LDAP_VERSION3;
    ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
}

Subschema::~Subschema() {
    ldap_unbind_ext_s(session_, nullptr, nullptr);
    waitpid(server_, nullptr, 0);
}

LDAPMessage *Subschema::search() const {
    char attribute[] = "attributeTypes";
    char *attributes[] = {attribute, nullptr};
    LDAPMessage *result = nullptr;
    if (ldap_search_ext_s(session_, subschemaDn, LDAP_SCOPE_BASE, "(objectclass=*)", attributes, 0,
                          nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &result) != LDAP_SUCCESS)
        std::abort();
    return result;
}

} // namespace bench
