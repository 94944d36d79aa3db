#include "load/ldif_stream.h"

#include "errors.h"
#include "interruption.h"
#include "text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qldapx {
namespace {

constexpr std::string_view directive = "include:";
constexpr std::string_view gzipMagic = "\x1f\x8b";

} // namespace

bool LineGuard::includes() const {
    return beforeRecord_ && head_.size() >= directive.size() &&
           strncasecmp(head_.data(), directive.data(), directive.size()) == 0;
}

void LineGuard::endLine() {
    const bool blank = head_.empty() || head_ == "\r";
    beforeRecord_ = blank || (beforeRecord_ && (head_.front() == '#' || head_.front() == ' '));
    head_.clear();
}

std::size_t LineGuard::check(std::string_view text) {
    const std::size_t zero = text.find('\0');
    std::size_t position = 0;
    const std::size_t end = std::min(zero, text.size());
    while (position < end) {
        const std::size_t newline = std::min(text.find('\n', position), end);
        if (head_.size() < directive.size())
            head_.append(text.substr(
                position, std::min(newline - position, directive.size() - head_.size())));
        if (includes()) {
            fault_ = "include: is not followed; load that file by itself";
            return position;
        }
        if (newline < end)
            endLine();
        position = newline + 1;
    }
    if (zero != std::string_view::npos)
        fault_ = "a NUL byte: LDIF has none, a value with one is written in base64";
    return end;
}

LdifStream::LdifStream(const std::string &path)
    : name_(path == "-" ? "standard input" : printable(path)), input_(bufferSize),
      streamBuffer_(bufferSize) {
    openFile(path);
    detectCompression();
    const cookie_io_functions_t functions = {[](void *self, char *buffer, std::size_t size) {
                                                 return static_cast<LdifStream *>(self)->read(
                                                     buffer, size);
                                             },
                                             nullptr, nullptr, nullptr};
    file_.reset(fopencookie(this, "r", functions));
    if (file_ == nullptr)
        throw std::bad_alloc();
    setvbuf(file_.get(), streamBuffer_.data(), _IOFBF, streamBuffer_.size());
}

LdifStream::~LdifStream() {
    file_.reset();
    if (compressed_)
        inflateEnd(&zlib_);
    if (descriptor_ > STDIN_FILENO)
        close(descriptor_);
}

void LdifStream::openFile(const std::string &path) {
    descriptor_ = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0)
        throw UsageError(fmt::format("cannot read {}: {}", name_, std::strerror(errno)),
                         "name an LDIF file, or - for standard input");
    if (S_ISDIR(status.st_mode))
        throw UsageError(fmt::format("{} is a folder", name_), "name an LDIF file");
    if (S_ISREG(status.st_mode))
        size_ = static_cast<std::uint64_t>(status.st_size);
}

void LdifStream::detectCompression() {
    while (end_ < gzipMagic.size() && refill()) {
    }
    compressed_ = std::string_view(input_.data(), end_).starts_with(gzipMagic);
    constexpr int gzipOnly = 16;
    if (compressed_ && inflateInit2(&zlib_, MAX_WBITS + gzipOnly) != Z_OK)
        throw std::bad_alloc();
    inMember_ = compressed_;
}

ssize_t LdifStream::fail(const std::string &reason) {
    if (fault_.empty())
        fault_ = reason;
    errno = EIO;
    return -1;
}

/** Gets more of the file behind what there is; false at its end, and when it cannot be read. */
bool LdifStream::refill() {
    if (begin_ == end_)
        begin_ = end_ = 0;
    ssize_t got = -1;
    do {
        got = ::read(descriptor_, input_.data() + end_, input_.size() - end_);
    } while (got < 0 && errno == EINTR && !Interruption::requested());
    if (got < 0)
        fail(fmt::format("cannot be read: {}", std::strerror(errno)));
    atEnd_ = got <= 0;
    if (got > 0) {
        end_ += static_cast<std::size_t>(got);
        consumed_ += static_cast<std::size_t>(got);
    }
    return got > 0;
}

ssize_t LdifStream::readPlain(char *buffer, std::size_t size) {
    if (begin_ == end_ && (atEnd_ || !refill()))
        return fault_.empty() ? 0 : -1;
    const std::size_t count = std::min(size, end_ - begin_);
    std::memcpy(buffer, input_.data() + begin_, count);
    begin_ += count;
    return static_cast<ssize_t>(count);
}

/** Behind a member another one may follow, or zeros that fill a tape's block. */
bool LdifStream::nextMember() {
    while (begin_ < end_ || (!atEnd_ && refill())) {
        if (input_[begin_] != '\0') {
            inMember_ = true;
            return inflateReset(&zlib_) == Z_OK;
        }
        ++begin_;
    }
    return false;
}

ssize_t LdifStream::readCompressed(char *buffer, std::size_t size) {
    zlib_.next_out = reinterpret_cast<Bytef *>(buffer);
    zlib_.avail_out = static_cast<uInt>(size);
    while (zlib_.avail_out == size) {
        if (!inMember_ && !nextMember())
            return fault_.empty() ? 0 : -1;
        if (begin_ == end_ && !refill())
            return fail("ends in the middle of its compressed data");
        zlib_.next_in = reinterpret_cast<Bytef *>(input_.data() + begin_);
        zlib_.avail_in = static_cast<uInt>(end_ - begin_);
        const int result = inflate(&zlib_, Z_NO_FLUSH);
        begin_ = end_ - zlib_.avail_in;
        inMember_ = result != Z_STREAM_END;
        if (result == Z_OK || result == Z_STREAM_END || result == Z_BUF_ERROR)
            continue;
        // What came out before the damage is whole.
        fail(fmt::format("is damaged: its compressed data cannot be read ({})",
                         zlib_.msg == nullptr ? "unknown" : zlib_.msg));
        if (zlib_.avail_out == size)
            return -1;
        break;
    }
    return static_cast<ssize_t>(size - zlib_.avail_out);
}

ssize_t LdifStream::read(char *buffer, std::size_t size) {
    if (!fault_.empty() || guard_.fault() != nullptr)
        return fail(fault_.empty() ? guard_.fault() : fault_);
    if (sinceRecord_ > longestRecord)
        return fail(fmt::format("a record of more than {} MiB", longestRecord >> 20U));
    const ssize_t got = compressed_ ? readCompressed(buffer, size) : readPlain(buffer, size);
    if (got <= 0)
        return got;
    const std::size_t passed =
        guard_.check(std::string_view(buffer, static_cast<std::size_t>(got)));
    sinceRecord_ += passed;
    return passed > 0 || guard_.fault() == nullptr ? static_cast<ssize_t>(passed)
                                                   : fail(guard_.fault());
}

} // namespace qldapx
