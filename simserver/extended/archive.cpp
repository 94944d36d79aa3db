#include "extended/registry.h"

#include "image.h"
#include "operations/write.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

// A piece of an image is described as a run of chunks of at most this many bytes.
constexpr std::size_t kChunk = 4096;

// SEQUENCE { count INTEGER, SET OF SEQUENCE { size INTEGER } }
void writeChunks(ber::Writer &writer, std::size_t bytes) {
    const std::size_t outer = writer.open(ber::kSequence);
    writer.integer(static_cast<std::int64_t>((bytes + kChunk - 1) / kChunk));
    const std::size_t set = writer.open(ber::kSet);
    for (std::size_t left = bytes; left > 0; left -= std::min(left, kChunk)) {
        const std::size_t element = writer.open(ber::kSequence);
        writer.integer(static_cast<std::int64_t>(std::min(left, kChunk)));
        writer.close(element);
    }
    writer.close(set);
    writer.close(outer);
}

/** The piece that the two numbers of the request's state ask for: 0 and 0 begin a backup. */
Backups::Piece findPiece(const ExtendedCall &call, const Dn &object) {
    const std::int32_t id = call.arguments.integer(1);
    const std::int32_t number = call.arguments.integer(2);
    const ArchiveLimits &limits = call.directory.archive;
    Backups &backups = call.connection.backups;
    const Backups::Owner owner{call.identity.key, object.key};
    if (id != 0 || number != 0)
        return backups.resume(owner, id, number, limits.pieceBytes);
    requireUserEntry(object);
    const auto node = call.directory.tree.require(object);
    return backups.begin(owner, image::make(*node, call.arguments.text(3)), limits);
}

// Wire order: object, id of the backup, number of the piece, password of the image. Response:
// dataLength INTEGER, id INTEGER, number INTEGER of the next piece, data OCTET STRING, chunks
ResponseValue backupObject(const ExtendedCall &call) {
    const Backups::Piece piece = findPiece(call, call.arguments.dn(0));
    std::string value;
    ber::Writer writer(value);
    writer.integer(static_cast<std::int64_t>(piece.bytes.size()));
    writer.integer(piece.id);
    writer.integer(piece.next);
    writer.octets(piece.bytes);
    writeChunks(writer, piece.bytes.size());
    return value;
}

void requireChunks(const Arguments &arguments) {
    const auto size = static_cast<std::int64_t>(arguments.text(3).size());
    if (arguments.integer(2) != size)
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("request value: dataLength is {} for {} bytes of data",
                                         arguments.integer(2), size));
    std::int64_t sum = 0;
    for (const std::int32_t chunk : arguments.sizes(4)) {
        if (chunk < 0)
            throw OperationError(ResultCode::ProtocolError,
                                 fmt::format("request value: a chunk has {} bytes", chunk));
        sum += chunk;
    }
    if (sum != size)
        throw OperationError(
            ResultCode::ProtocolError,
            fmt::format("request value: the chunks have {} bytes, the data {}", sum, size));
}

void recreate(const ExtendedCall &call, const Dn &object, std::string_view whole) {
    image::Content content = image::open(whole);
    if (content.dn.key != object.key)
        throw OperationError(
            ResultCode::NamingViolation,
            fmt::format("the image is one of \"{}\": it is restored there", content.dn.text));
    if (!content.isPassword(call.arguments.text(1)))
        throw OperationError(ResultCode::InvalidCredentials,
                             "the image was made with another password");
    requireConsistent(content.entry);
    requireRdnValues(content.dn, content.entry);
    call.directory.tree.add(content.dn, std::move(content.entry));
}

// Wire order: object, password of the image, dataLength, data, chunks. What has been collected is
// taken out first: a piece that fails leaves nothing behind.
ResponseValue restoreObject(const ExtendedCall &call) {
    const Dn object = call.arguments.dn(0);
    Restores &restores = call.connection.restores;
    std::string collected = restores.take(object.key);
    requireChunks(call.arguments);
    requireUserEntry(object);
    collected += call.arguments.text(3);
    if (collected.size() < image::lengthOf(collected))
        restores.keep(object.key, std::move(collected), call.directory.archive.restoreBytes);
    else
        recreate(call, object, collected);
    return {};
}

} // namespace

std::vector<ExtendedOperation> archiveOperations() {
    using enum ExtendedOperation::Access;
    return {
        strataOperation(96, "backup-object", Administrator, "siis", backupObject),
        strataOperation(98, "restore-object", Administrator, "ssisc", restoreObject),
    };
}

} // namespace stratasim
