// What the simulator reads: requests, and the texts and files that it is started with.
#include "dispatcher.h"
#include "events/replay_line.h"
#include "filter_text.h"
#include "image.h"
#include "ldif.h"
#include "repeated.h"
#include "sasl/digest.h"
#include "schema/files.h"
#include "targets.h"

#include <openssl/sha.h>
#include <sstream>

namespace qldapx_fuzz {

namespace {

constexpr std::size_t largestMessage = 1U << 20U;
// How much of an answer that never ends is asked for.
constexpr int mostPieces = 20;
constexpr std::size_t pieceSize = 65536;

// A server without sockets, whose time stands still.
struct Server {
    stratasim::Faults faults;
    stratasim::Directory directory{{}, [] { return std::int64_t{1000000}; }};
    stratasim::Dispatcher dispatcher{directory, faults};
    stratasim::Connection connection;
};

// An answer is whole messages.
void requireMessages(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto frame = stratasim::ber::frameOf(stratasim::asBytes(bytes), bytes.size());
        require(frame.status == stratasim::ber::Frame::Status::Complete, "an answer is cut");
        bytes.remove_prefix(frame.length);
    }
}

void serve(Server &server, std::string_view message,
           std::vector<std::unique_ptr<stratasim::OpenOperation>> &open) {
    stratasim::Outcome outcome =
        server.dispatcher.handle(server.connection, stratasim::asBytes(message));
    using Progress = stratasim::OpenOperation::Progress;
    Progress progress = outcome.open ? Progress::More : Progress::Done;
    for (int pieces = 0; progress == Progress::More && pieces < mostPieces; ++pieces)
        progress = outcome.open->produce(outcome.bytes, pieceSize);
    requireMessages(outcome.bytes);
    if (progress != Progress::Done)
        open.push_back(std::move(outcome.open));
}

// Of the administrator: who may do less is refused early.
Bytes bindRequest() {
    using namespace qldapx_test;
    return sequence({integer(1), tlv(0x60, integer(3) + octetString("cn=admin,dc=example,dc=com") +
                                               tlv(0x80, "secret"))});
}

// Message by message, up to what is none.
void serveAll(std::string_view bytes) {
    Server server;
    std::vector<std::unique_ptr<stratasim::OpenOperation>> open;
    serve(server, bindRequest(), open);
    for (;;) {
        const auto frame = stratasim::ber::frameOf(stratasim::asBytes(bytes), largestMessage);
        if (frame.status != stratasim::ber::Frame::Status::Complete)
            return;
        serve(server, bytes.substr(0, frame.length), open);
        bytes.remove_prefix(frame.length);
    }
}

// Reads it; every refusal is one of the kinds of exception.
template <class Refusal, class Read>
void readOrRefuse(Read read) {
    runTwice([&] {
        try {
            read();
        } catch (const Refusal &) {
        }
    });
}

void loadSchema(const Bytes &bytes) {
    std::istringstream text(bytes);
    stratasim::schema::Files files;
    files.read(text, "fuzzed");
    std::vector<std::string> warnings;
    stratasim::schema::load(files, 0, warnings);
}

void loadEntries(const Bytes &bytes) {
    std::istringstream text(bytes);
    stratasim::Directory directory(
        {}, [] { return std::int64_t{1000000}; }, text);
}

// With the checksum of what stands before it.
Bytes sealed(const Bytes &bytes) {
    Bytes digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(),
           reinterpret_cast<unsigned char *>(digest.data()));
    return bytes + digest;
}

} // namespace

void runRequests(const Target & /*target*/, const Bytes &bytes) {
    runTwice([&] { serveAll(bytes); });
}

void runReplayLine(const Target & /*target*/, const Bytes &bytes) {
    readOrRefuse<std::runtime_error>([&] { stratasim::parseReplayLine(bytes); });
}

void runSimulatedSchema(const Target & /*target*/, const Bytes &bytes) {
    readOrRefuse<stratasim::schema::FileError>([&] { loadSchema(bytes); });
}

void runSimulatedEntries(const Target & /*target*/, const Bytes &bytes) {
    readOrRefuse<stratasim::LdifError>([&] { loadEntries(bytes); });
}

void runSimulatedFilter(const Target & /*target*/, const Bytes &bytes) {
    readOrRefuse<stratasim::OperationError>([&] { stratasim::parseFilter(bytes); });
}

void runSimulatedImage(const Target & /*target*/, const Bytes &bytes) {
    readOrRefuse<stratasim::OperationError>([&] { stratasim::image::open(sealed(bytes)); });
}

void runDigestResponse(const Target & /*target*/, const Bytes &bytes) {
    readOrRefuse<stratasim::OperationError>([&] { stratasim::digest::readResponse(bytes); });
}

} // namespace qldapx_fuzz
