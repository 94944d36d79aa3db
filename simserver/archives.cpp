#include "archives.h"

#include "result.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace stratasim {
namespace {

// Of one connection. Beyond that its oldest backups are forgotten: their client has most likely
// lost interest.
constexpr std::size_t kMaxBackups = 16;
constexpr std::size_t kMaxRestores = 16;

Backups::Piece cut(const std::shared_ptr<const std::string> &image, std::int32_t id,
                   std::int32_t number, std::size_t pieceBytes) {
    const std::size_t from = (static_cast<std::size_t>(number) - 1) * pieceBytes;
    if (from >= image->size())
        throw OperationError(ResultCode::UnwillingToPerform,
                             fmt::format("the backup {} has no piece {}", id, number));
    Backups::Piece piece{image, std::string_view(*image).substr(from, pieceBytes), 0, 0};
    if (from + piece.bytes.size() < image->size()) {
        piece.id = id;
        piece.next = number + 1;
    }
    return piece;
}

} // namespace

void Backups::makeRoom(std::size_t mostBytes) {
    std::size_t bytes = 0;
    for (const Running &running : running_)
        bytes += running.image->size();
    // A single image may be as large as it is: otherwise it could not be fetched at all.
    while (running_.size() > kMaxBackups || (bytes > mostBytes && running_.size() > 1)) {
        bytes -= running_.front().image->size();
        running_.pop_front();
    }
}

Backups::Piece Backups::begin(Owner owner, std::string image, const ArchiveLimits &limits) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    const auto shared = std::make_shared<const std::string>(std::move(image));
    lastId_ = lastId_ == most ? 1 : lastId_ + 1;
    Piece first = cut(shared, lastId_, 1, limits.pieceBytes);
    if (first.next != 0) {
        running_.push_back({lastId_, std::move(owner), shared});
        makeRoom(limits.backupBytes);
    }
    return first;
}

Backups::Piece Backups::resume(const Owner &owner, std::int32_t id, std::int32_t number,
                               std::size_t pieceBytes) {
    const auto found = std::find_if(running_.begin(), running_.end(), [&](const Running &running) {
        return running.id == id && running.owner == owner;
    });
    if (found == running_.end() || number < 1)
        throw OperationError(
            ResultCode::UnwillingToPerform,
            fmt::format("no backup of this entry is under way with state {}+{}: start again", id,
                        number));
    Piece piece = cut(found->image, id, number, pieceBytes);
    if (piece.next == 0)
        running_.erase(found);
    return piece;
}

std::string Restores::take(const std::string &object) {
    auto found = byObject_.extract(object);
    if (found.empty())
        return {};
    bytes_ -= found.mapped().size();
    return std::move(found.mapped());
}

void Restores::keep(const std::string &object, std::string bytes, std::size_t most) {
    if (bytes.size() > most - std::min(most, bytes_) || byObject_.size() == kMaxRestores)
        throw OperationError(
            ResultCode::AdminLimitExceeded,
            fmt::format("more than {} bytes or {} objects of unfinished restores on one connection",
                        most, kMaxRestores));
    bytes_ += bytes.size();
    byObject_.insert_or_assign(object, std::move(bytes));
}

} // namespace stratasim
