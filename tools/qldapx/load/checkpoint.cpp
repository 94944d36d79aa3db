#include "load/checkpoint.h"

#include "errors.h"
#include "new_file.h"
#include "output.h"
#include "signals.h"
#include "text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace qldapx {
namespace {

using Json = nlohmann::json;

constexpr int formatVersion = 1;
constexpr std::size_t roomForNumbers = 4096;
// A server that answers with ever new codes must not make a block too long.
constexpr std::size_t mostCodes = 64;

std::uint32_t checksumOf(std::string_view text) {
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef *>(text.data()), text.size()));
}

constexpr std::string_view checkMark = ",\"check\":\"";

std::string positionText(const Position &position) {
    return fmt::format("{{\"record\":{},\"checksum\":{}}}", position.record, position.checksum);
}

std::string countsText(const Counts &counts) {
    std::string text = "{";
    for (std::size_t i = 0; i < updateKinds; ++i) {
        const Tally &tally = counts.updates[i];
        text += fmt::format("\"{}\":{{\"done\":{},\"failed\":{},\"unknown\":{}}},", updateNames[i],
                            tally.done, tally.failed, tally.unknown);
    }
    text += fmt::format("\"malformed\":{},\"results\":[", counts.malformed);
    std::size_t written = 0;
    for (const auto &[code, count] : counts.results)
        if (written++ < mostCodes)
            text += fmt::format("{}[{},{}]", written == 1 ? "" : ",", code, count);
    return text + "]}";
}

/** One of the two states, or an exception of the JSON library's. */
Json blockIn(std::string_view text) {
    const std::size_t mark = text.find(checkMark);
    Json json = Json::parse(text);
    const std::string check = fmt::format("{:08x}", checksumOf(text.substr(0, mark)));
    return json.at("check") == check ? json : Json();
}

/** The last state that is whole. */
Json newestIn(const std::string &text) {
    Json newest;
    for (std::size_t begin = text.find("\n{"); begin != std::string::npos;
         begin = text.find("\n{", begin + 1)) {
        const std::size_t end = text.find('\n', begin + 1);
        std::string_view line = std::string_view(text).substr(begin + 1, end - begin - 1);
        line = line.substr(0, line.find_last_of('}') + 1);
        Json json;
        try {
            json = blockIn(line);
        } catch (const Json::exception &) {
            continue;
        }
        if (!json.is_null() &&
            (newest.is_null() || newest.value("serial", 0ULL) < json.value("serial", 0ULL)))
            newest = std::move(json);
    }
    return newest;
}

Position positionIn(const Json &json) {
    return {json.at("record").get<std::uint64_t>(), json.at("checksum").get<std::uint32_t>()};
}

Counts countsIn(const Json &json) {
    Counts counts;
    for (std::size_t i = 0; i < updateKinds; ++i) {
        const Json &tally = json.at(updateNames[i]);
        counts.updates[i].done = tally.at("done").get<std::uint64_t>();
        counts.updates[i].failed = tally.at("failed").get<std::uint64_t>();
        counts.updates[i].unknown = tally.at("unknown").get<std::uint64_t>();
    }
    counts.malformed = json.at("malformed").get<std::uint64_t>();
    for (const Json &row : json.at("results"))
        counts.results[row.at(0).get<int>()] = row.at(1).get<std::uint64_t>();
    return counts;
}

Checkpoint::Saved savedIn(const Json &json) {
    return {{json.at("file").get<std::string>(), json.at("server").get<std::string>(),
             json.at("bindDN").get<std::string>()},
            {positionIn(json.at("settled")), positionIn(json.at("sent")), json.at("mode") == "bulk",
             countsIn(json.at("counts"))}};
}

} // namespace

Checkpoint::Checkpoint(std::string path, const LoadIdentity &identity, const LoadState &state)
    : path_(std::move(path)) {
    const Output::Json fixed = {{"version", formatVersion},
                                {"file", identity.file},
                                {"server", identity.server},
                                {"bindDN", identity.bindDn}};
    head_ = jsonText(fixed);
    head_.pop_back();
    blockSize_ = head_.size() + roomForNumbers;
    create(state);
}

Checkpoint::~Checkpoint() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

std::string Checkpoint::block(const LoadState &state) {
    std::string text =
        fmt::format("{},\"serial\":{},\"mode\":\"{}\",\"settled\":{},\"sent\":{},\"counts\":{}",
                    head_, ++serial_, state.bulk ? "bulk" : "ordinary", positionText(state.settled),
                    positionText(state.sent), countsText(state.counts));
    text += fmt::format("{}{:08x}\"}}", checkMark, checksumOf(text));
    text.resize(blockSize_, ' ');
    return text;
}

void Checkpoint::fail(const char *what, const char *hint) const {
    Problem problem;
    problem.operation = "load";
    problem.object = path_;
    problem.reason = fmt::format("{}: {}", what, std::strerror(errno));
    problem.hint = hint;
    throw Failure(std::move(problem));
}

/** False, with errno, when not all of it could be written. */
bool Checkpoint::writeAt(std::string_view text, std::size_t offset) const {
    while (!text.empty()) {
        const ssize_t written =
            pwrite(descriptor_, text.data(), text.size(), static_cast<off_t>(offset));
        if (written < 0 && errno != EINTR)
            return false;
        const std::size_t taken = written > 0 ? static_cast<std::size_t>(written) : 0;
        text.remove_prefix(taken);
        offset += taken;
    }
    return true;
}

// Under another name first: a reader finds the old one or the new one, whole.
void Checkpoint::create(const LoadState &state) {
    const EndingsHeld held; // not to leave it behind
    const std::string temporary = path_ + ".new";
    const std::string first = block(state);
    const std::string text = "[\n" + first + ",\n" + block(state) + "\n]\n";
    descriptor_ =
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor_ < 0)
        fail();
    if (writeAt(text, 0) && fsync(descriptor_) == 0 &&
        rename(temporary.c_str(), path_.c_str()) == 0)
        return syncFolderOf(path_);
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    fail();
}

void Checkpoint::write(const LoadState &state) {
    constexpr std::chrono::seconds between(2);
    const std::string text = block(state);
    constexpr std::size_t opening = 2, separator = 2;
    const std::size_t offset = serial_ % 2 == 1 ? opening : opening + blockSize_ + separator;
    if (!writeAt(text, offset))
        fail();
    if (Clock::now() - synced_ > between)
        sync();
}

void Checkpoint::sync() {
    if (fdatasync(descriptor_) != 0 && errno != EINVAL)
        fail();
    synced_ = Clock::now();
}

void Checkpoint::remove() {
    if (unlink(path_.c_str()) != 0 && errno != ENOENT)
        fail("the load is through, but its checkpoint cannot be removed", "remove it");
}

bool Checkpoint::exists(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0;
}

Checkpoint::Saved Checkpoint::read(const std::string &path) {
    constexpr std::streamsize mostBytes = 1 << 20;
    const std::string startOver =
        "to start over remove it; what it stood for is lost, and what is loaded already will fail";
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw UsageError(
            fmt::format("there is no checkpoint {}: {}", printable(path), std::strerror(errno)),
            "leave out --resume, or name the checkpoint with --checkpoint");
    std::string text(mostBytes, '\0');
    file.read(text.data(), mostBytes);
    text.resize(static_cast<std::size_t>(file.gcount()));
    try {
        const Json newest = newestIn(text);
        if (newest.is_object() && newest.at("version") != formatVersion)
            throw UsageError(
                fmt::format("{} is a checkpoint of another version of qldapx", printable(path)),
                startOver);
        if (newest.is_object())
            return savedIn(newest);
    } catch (const Json::exception &) {
        // Reported below, as any other damage.
    }
    throw UsageError(fmt::format("{} is damaged, or no checkpoint", printable(path)), startOver);
}

} // namespace qldapx
