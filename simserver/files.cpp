#include "files.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace stratasim {
namespace {

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written < 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/** The file must be new: what somebody else has opened would keep his permissions. */
bool create(const std::string &path, std::string_view content, mode_t permissions) {
    unlink(path.c_str());
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    if (file < 0)
        return false;
    const bool written = writeAll(file, content);
    const int problem = errno;
    const bool closed = close(file) == 0;
    if (!written)
        errno = problem;
    return written && closed;
}

} // namespace

void writeWhole(const std::string &path, std::string_view content, mode_t permissions) {
    const std::string unfinished = path + ".new";
    if (create(unfinished, content, permissions) &&
        std::rename(unfinished.c_str(), path.c_str()) == 0)
        return;
    const int problem = errno;
    unlink(unfinished.c_str());
    throw std::runtime_error(fmt::format("cannot write {}: {}", path, std::strerror(problem)));
}

} // namespace stratasim
