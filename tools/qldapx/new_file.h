#pragma once

#include "signals.h"

#include <optional>
#include <string>
#include <string_view>

namespace qldapx {

/** For a new name in a folder to be there after a power failure, too. Not every file system can. */
void syncFolderOf(const std::string &path);

/** Throws UsageError when a file cannot be written there: it exists, unless it may be replaced. */
void checkTarget(const std::string &path, bool replace);

/**
 * A file that appears under its name when it is whole, or not at all. Until then it stands beside
 * it under a name of its own, readable by its owner only, and goes when this goes and when the
 * process ends by Ctrl-C or the like. Throws std::system_error.
 */
class NewFile {
  public:
    NewFile(std::string path, bool replace);
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    void write(std::string_view bytes);
    /** Brings it to the disk and gives it its name. */
    void keep();

  private:
    void rename() const;

    std::string path_;
    bool replace_;
    int descriptor_ = -1;
    std::optional<EndingHandlers> handlers_;
};

} // namespace qldapx
