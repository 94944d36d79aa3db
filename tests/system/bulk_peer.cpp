#include "system/bulk_peer.h"

#include <array>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

using namespace qldapx_test;

constexpr unsigned char bindRequest = 0x60, searchRequest = 0x63, extended = 0x77, unbind = 0x42;
constexpr int start = 1;

/** An element of BER: its tag, its contents, and how long it is. */
struct Element {
    unsigned char tag = 0;
    Bytes content;
    std::size_t size = 0;
};

/** The element at the beginning of the bytes; with size 0 while it is not there whole. */
Element first(const Bytes &bytes) {
    if (bytes.size() < 2)
        return {};
    std::size_t length = static_cast<unsigned char>(bytes[1]), header = 2;
    if (length >= 0x80) {
        header += length & 0x7fU;
        if (bytes.size() < header)
            return {};
        length = 0;
        for (std::size_t i = 2; i < header; ++i)
            length = length << 8U | static_cast<unsigned char>(bytes[i]);
    }
    if (bytes.size() < header + length)
        return {};
    return {static_cast<unsigned char>(bytes[0]), bytes.substr(header, length), header + length};
}

std::vector<Element> elements(Bytes bytes) {
    std::vector<Element> all;
    for (Element next = first(bytes); next.size > 0; next = first(bytes)) {
        all.push_back(next);
        bytes.erase(0, next.size);
    }
    return all;
}

int number(const Bytes &content) {
    int value = 0;
    for (const char byte : content)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

BulkRequest parsed(const Element &message) {
    const auto parts = elements(message.content);
    BulkRequest request;
    request.id = number(parts.at(0).content);
    request.tag = parts.at(1).tag;
    request.operation = message.content.substr(parts.at(0).size, parts.at(1).size);
    if (request.tag != extended)
        return request;
    const auto fields = elements(parts.at(1).content);
    request.step = fields.at(0).content.back() - '0';
    const auto value = elements(elements(fields.at(1).content).at(0).content);
    if (request.step != start)
        request.number = number(value.at(0).content);
    request.count = value.size() - 1;
    return request;
}

bool sendAll(int connection, const Bytes &bytes) {
    return send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

Bytes rootDse(int id) {
    const Bytes values = tlv(0x31, octetString(std::string(bulkArc) + "1"));
    const Bytes attribute = sequence({octetString("supportedExtension"), values});
    return ldapMessage(id, tlv(0x64, octetString("") + sequence({attribute}))) +
           ldapMessage(id, searchDone(0));
}

} // namespace

Bytes bulkAnswer(int id, int code, int step, const std::optional<Bytes> &value) {
    return ldapMessage(id, extendedResponse(code, bulkArc + std::to_string(step + 1), value));
}

Bytes bulkFailure(std::int64_t number, int code, const std::string &text) {
    return sequence(
        {integer(number), sequence({integer(code), octetString(""), octetString(text)})});
}

BulkPeer::BulkPeer(Script script, int transactionSize)
    : script_(std::move(script)), transactionSize_(transactionSize) {
    thread_ = std::thread([this] { serve(); });
}

BulkPeer::~BulkPeer() {
    listener_.stop();
    thread_.join();
}

void BulkPeer::serve() {
    while (true) {
        const int connection = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            return;
        entertain(connection);
        close(connection);
    }
}

void BulkPeer::entertain(int connection) {
    Bytes bytes;
    std::array<char, 65536> buffer{};
    while (true) {
        const ssize_t got = recv(connection, buffer.data(), buffer.size(), 0);
        if (got <= 0)
            return;
        bytes.append(buffer.data(), static_cast<std::size_t>(got));
        for (Element message = first(bytes); message.size > 0; message = first(bytes)) {
            bytes.erase(0, message.size);
            const BulkRequest request = parsed(message);
            {
                const std::lock_guard lock(mutex_);
                received_.push_back(request);
            }
            if (request.tag == unbind || !reply(connection, request))
                return;
        }
    }
}

bool BulkPeer::reply(int connection, const BulkRequest &request) const {
    const std::optional<BulkReply> own = script_(request);
    return sendAll(connection, own ? own->bytes : usual(request)) && !(own && own->ends);
}

Bytes BulkPeer::usual(const BulkRequest &request) const {
    const Bytes success = join({tlv(0x0a, Bytes(1, '\0')), octetString(""), octetString("")});
    switch (request.tag) {
    case extended:
        return bulkAnswer(request.id, 0, request.step,
                          request.step == start
                              ? std::optional(sequence({integer(transactionSize_)}))
                              : std::nullopt);
    case searchRequest:
        return rootDse(request.id);
    case bindRequest:
        return ldapMessage(request.id, tlv(0x61, success));
    default: // an update, whose answer has the next tag but for a delete's
        return ldapMessage(request.id, tlv(request.tag == 0x4a ? 0x6b : request.tag + 1, success));
    }
}

std::vector<BulkRequest> BulkPeer::received() const {
    const std::lock_guard lock(mutex_);
    return received_;
}

std::vector<BulkRequest> BulkPeer::received(int step) const {
    std::vector<BulkRequest> some;
    for (const BulkRequest &request : received())
        if (request.tag == extended && request.step == step)
            some.push_back(request);
    return some;
}

} // namespace test
