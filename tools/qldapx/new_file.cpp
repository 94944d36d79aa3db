#include "new_file.h"

#include "errors.h"
#include "open_file.h"
#include "text.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace qldapx {
namespace {

// The name until it is whole, where a signal handler can reach it.
std::string temporary;

void removeAndEnd(int signal) {
    unlink(temporary.c_str());
    endBy(signal);
}

[[noreturn]] void fail(const std::string &path, int error = errno) {
    throw std::system_error(error, std::generic_category(), "cannot write " + printable(path));
}

std::string folderOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

void syncFolderOf(const std::string &path) {
    const OpenFile folder(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (folder.isOpen())
        fsync(folder.descriptor());
}

void checkTarget(const std::string &path, bool replace) {
    struct stat status = {};
    if (path == "-" || path.empty() || path.ends_with('/'))
        throw UsageError(fmt::format("\"{}\" is no name for a file", printable(path)),
                         "name a file, such as -o ada.backup");
    if (lstat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode))
            throw UsageError(fmt::format("{} exists and is not a file", printable(path)),
                             "choose another name");
        if (!replace)
            throw UsageError(fmt::format("{} exists already", printable(path)),
                             "--force replaces it, or choose another name");
    }
    const std::string folder = folderOf(path);
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw UsageError(
            fmt::format("cannot write into {}: {}", printable(folder), std::strerror(errno)),
            "choose another place");
}

NewFile::NewFile(std::string path, bool replace) : path_(std::move(path)), replace_(replace) {
    temporary = folderOf(path_) + "/.qldapx-XXXXXX";
    const EndingsHeld held; // until there is who removes it
    descriptor_ = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor_ < 0)
        fail(path_);
    handlers_.emplace(removeAndEnd);
}

NewFile::~NewFile() {
    if (!temporary.empty())
        unlink(temporary.c_str());
    if (descriptor_ >= 0)
        close(descriptor_);
}

void NewFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            fail(path_);
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

// What came to that name meanwhile is not replaced either.
void NewFile::rename() const {
    const unsigned flags = replace_ ? 0 : RENAME_NOREPLACE;
    if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path_.c_str(), flags) == 0)
        return;
    // A file system that cannot rename so, such as NFS, can link.
    if (errno != EINVAL || link(temporary.c_str(), path_.c_str()) != 0)
        fail(path_);
    unlink(temporary.c_str());
}

void NewFile::keep() {
    if (fsync(descriptor_) != 0)
        fail(path_);
    const int closed = close(descriptor_);
    descriptor_ = -1;
    if (closed != 0)
        fail(path_);
    rename();
    temporary.clear();
    syncFolderOf(path_);
}

} // namespace qldapx
