#include "load/rejects.h"

#include "errors.h"
#include "text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qldapx {

Rejects::Rejects(const std::string &path, bool append) : path_(path) {
    const int mode = append ? O_APPEND : O_EXCL;
    descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | mode, 0600);
    if (descriptor_ >= 0)
        return;
    if (errno == EEXIST)
        throw UsageError(fmt::format("{} exists already", printable(path)),
                         "choose another name for --rejects, or move that file away");
    throw UsageError(fmt::format("cannot write {}: {}", printable(path), std::strerror(errno)),
                     "choose another place for --rejects");
}

// A load that ends before it has begun leaves no empty file, which would be in the way of the next.
Rejects::~Rejects() {
    if (!finished_ && isEmpty())
        unlink(path_.c_str());
    close(descriptor_);
}

bool Rejects::isEmpty() const {
    struct stat status = {};
    return fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

// Bytes of a record are whatever the file had; only an LDIF reader sees them.
void Rejects::add(const std::vector<std::string> &comments, const Record &record) {
    constexpr std::size_t enough = std::size_t{1} << 20U;
    for (const std::string &comment : comments)
        waiting_ += "# " + printable(comment) + "\n";
    waiting_ += record.text;
    waiting_ += record.text.ends_with('\n') ? "\n" : "\n\n";
    if (waiting_.size() > enough)
        flush();
}

void Rejects::fail() const {
    Problem problem;
    problem.operation = "load";
    problem.object = path_;
    problem.reason = fmt::format("the rejects cannot be written: {}", std::strerror(errno));
    problem.hint = "make room, and go on with --resume";
    throw Failure(std::move(problem));
}

void Rejects::flush() {
    std::size_t done = 0;
    while (done < waiting_.size()) {
        const ssize_t written = write(descriptor_, waiting_.data() + done, waiting_.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            fail();
        done += static_cast<std::size_t>(written);
    }
    waiting_.clear();
}

bool Rejects::finish() {
    flush();
    if (fdatasync(descriptor_) != 0 && errno != EINVAL)
        fail();
    finished_ = true;
    return isEmpty() && unlink(path_.c_str()) == 0;
}

} // namespace qldapx
