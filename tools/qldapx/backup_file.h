#pragma once

#include "digest.h"
#include "new_file.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

// Files of backup images; docs/backup-file.md describes the format.
namespace qldapx {

struct BackupHeader {
    std::string dn;
    std::string server;       // its URI
    std::int64_t created = 0; // seconds since 1970
};

struct BackupContents {
    BackupHeader header;
    std::uint64_t pieces = 0;
    std::uint64_t bytes = 0; // of the image
};

/** Writes a backup piece by piece. Throws std::system_error. */
class BackupWriter {
  public:
    BackupWriter(NewFile &file, const BackupHeader &header);

    void piece(std::string_view chunkSizes, std::string_view data);
    /** What makes the file a whole one. */
    void finish();
    [[nodiscard]] std::uint64_t pieces() const { return pieces_; }
    [[nodiscard]] std::uint64_t bytes() const { return bytes_; }

  private:
    void write(std::string_view bytes);

    NewFile &file_;
    Digest digest_;
    std::uint64_t pieces_ = 0;
    std::uint64_t bytes_ = 0;
};

/** A backup that was written. Throws UsageError for a file that is none, or not as written. */
class BackupFile {
  public:
    explicit BackupFile(std::string path);
    ~BackupFile();
    BackupFile(const BackupFile &) = delete;
    BackupFile &operator=(const BackupFile &) = delete;

    /** Looks at every byte; gives what is in it. */
    BackupContents check();

    using Take = std::function<void(std::string &chunkSizes, std::string &data)>;
    /** Hands over the pieces in order. */
    void pieces(const Take &take);

  private:
    std::string path_;
    int descriptor_;
};

} // namespace qldapx
