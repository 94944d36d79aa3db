#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace stratasim {

/** How much of backup and restore the server takes on. */
struct ArchiveLimits {
    std::size_t pieceBytes = 65536; // of an image in one answer
    // Of one connection: images that it has not fetched to the end, and sent to the end.
    std::size_t backupBytes = 128U * 1024 * 1024;
    std::size_t restoreBytes = 256U * 1024 * 1024;
};

/** The backups of one connection whose images have not been fetched to the end. */
class Backups {
  public:
    /** A part of an image; it is the last one when `id` and `next` are 0. */
    struct Piece {
        std::shared_ptr<const std::string> image; // holds the bytes
        std::string_view bytes;
        std::int32_t id = 0;
        std::int32_t next = 0;
    };

    /** Who fetches the image, and of which entry: keys. */
    struct Owner {
        std::string identity;
        std::string object;
        bool operator==(const Owner &) const = default;
    };

    /** Keeps an image and gives its first piece. */
    Piece begin(Owner owner, std::string image, const ArchiveLimits &limits);
    /** Throws unwillingToPerform for a backup or a piece that is not there. */
    Piece resume(const Owner &owner, std::int32_t id, std::int32_t number, std::size_t pieceBytes);

    void clear() { running_.clear(); }

  private:
    struct Running {
        std::int32_t id;
        Owner owner;
        std::shared_ptr<const std::string> image;
    };

    void makeRoom(std::size_t mostBytes);

    std::deque<Running> running_; // the oldest first
    std::int32_t lastId_ = 0;
};

/** The pieces of images that one connection has sent, until they are whole. */
class Restores {
  public:
    /** What is there for that object; it is here no longer. */
    std::string take(const std::string &object);
    /** Throws adminLimitExceeded when that is more than `most` bytes together, or too many. */
    void keep(const std::string &object, std::string bytes, std::size_t most);

  private:
    std::map<std::string, std::string> byObject_;
    std::size_t bytes_ = 0;
};

} // namespace stratasim
