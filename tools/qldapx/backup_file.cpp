#include "backup_file.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace qldapx {
namespace {

// The bytes that text conversions change are in it, so that these are found out first.
constexpr std::string_view magic = "\x89QLB\r\n\x1a\n";
constexpr std::uint32_t formatVersion = 1;
constexpr char pieceMark = 'P';
constexpr char endMark = 'E';

template <typename Number>
std::string bigEndian(Number number) {
    std::string bytes(sizeof number, '\0');
    for (std::size_t i = bytes.size(); i-- > 0; number >>= 8U)
        bytes[i] = static_cast<char>(number & 0xffU);
    return bytes;
}

std::string withLength(std::string_view text) {
    return bigEndian(static_cast<std::uint32_t>(text.size())) + std::string(text);
}

[[noreturn]] void refuse(const std::string &path, const std::string &why,
                         const char *hint = "use another copy of it, or make a new backup") {
    throw UsageError(fmt::format("{}: {}", printable(path), why), hint);
}

/** Reads a file from its start, never beyond its end. */
class Reader {
  public:
    Reader(const std::string &path, int descriptor) : path_(path), descriptor_(descriptor) {
        struct stat status = {};
        if (fstat(descriptor, &status) != 0 || lseek(descriptor, 0, SEEK_SET) != 0)
            refuse(path, std::strerror(errno));
        left_ = static_cast<std::uint64_t>(status.st_size);
    }

    [[nodiscard]] const std::string &path() const { return path_; }
    [[nodiscard]] std::uint64_t left() const { return left_; }
    [[nodiscard]] std::string digest() const { return digest_.value(); }

    /** Goes over bytes, in blocks, of which `visit` may refuse any. */
    template <typename Visit>
    void pass(std::uint64_t size, Visit visit);
    std::string bytes(std::uint64_t size);
    std::string text() { return bytes(number<std::uint32_t>()); }
    template <typename Number>
    Number number();

  private:
    void require(std::uint64_t size) const {
        if (size > left_)
            refuse(path_, "it ends too early: it is truncated or altered");
    }
    void read(char *to, std::size_t size);

    const std::string &path_;
    int descriptor_;
    std::uint64_t left_ = 0;
    Digest digest_;
};

void Reader::read(char *to, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(descriptor_, to + done, size - done);
        if (got < 0 && errno != EINTR)
            refuse(path_, std::strerror(errno));
        if (got == 0)
            refuse(path_, "it became shorter while it was read");
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    digest_.add({to, size});
    left_ -= size;
}

std::string Reader::bytes(std::uint64_t size) {
    require(size);
    std::string result(size, '\0');
    read(result.data(), result.size());
    return result;
}

template <typename Visit>
void Reader::pass(std::uint64_t size, Visit visit) {
    require(size);
    std::array<char, 65536> block{};
    while (size > 0) {
        const std::size_t part = std::min<std::uint64_t>(size, block.size());
        read(block.data(), part);
        visit(std::string_view(block.data(), part));
        size -= part;
    }
}

template <typename Number>
Number Reader::number() {
    Number value = 0;
    for (const char byte : bytes(sizeof value))
        value = static_cast<Number>(value << 8U | static_cast<unsigned char>(byte));
    return value;
}

void checkStart(Reader &reader) {
    if (reader.left() == 0)
        refuse(reader.path(), "the file is empty");
    if (reader.left() < magic.size() || reader.bytes(magic.size()) != magic)
        refuse(reader.path(), "this is no backup file of qldapx", "name one that backup wrote");
    const auto version = reader.number<std::uint32_t>();
    if (version > formatVersion)
        refuse(reader.path(),
               fmt::format("its format has version {}, and this qldapx knows {}", version,
                           formatVersion),
               "use a newer qldapx");
    if (version != formatVersion)
        refuse(reader.path(), "it is altered: there is no version 0 of the format");
}

BackupHeader readHeader(Reader &reader) {
    checkStart(reader);
    BackupHeader header;
    header.created = static_cast<std::int64_t>(reader.number<std::uint64_t>());
    header.dn = reader.text();
    header.server = reader.text();
    if (header.dn.find('\0') != std::string::npos)
        refuse(reader.path(), "it is altered: its DN has a zero byte");
    return header;
}

struct PieceSizes {
    std::uint32_t chunkSizes;
    std::uint32_t data;
};

/** Before a piece: its sizes. At the end: nothing. */
bool readMark(Reader &reader, PieceSizes &sizes) {
    const char mark = reader.bytes(1).front();
    if (mark == endMark)
        return false;
    if (mark != pieceMark)
        refuse(reader.path(), "it is altered: neither a piece nor the end follows");
    sizes.chunkSizes = reader.number<std::uint32_t>();
    sizes.data = reader.number<std::uint32_t>();
    if (sizes.chunkSizes == 0 || sizes.data > std::numeric_limits<std::int32_t>::max())
        refuse(reader.path(), "it is altered: a piece has an impossible size");
    return true;
}

void checkPiece(Reader &reader, const PieceSizes &sizes) {
    reader.pass(sizes.chunkSizes, [&](std::string_view text) {
        if (text.find_first_not_of("0123456789;-") != std::string_view::npos)
            refuse(reader.path(), "it is altered: a piece's chunk sizes are no numbers");
    });
    reader.pass(sizes.data, [](std::string_view) {});
}

void checkEnd(Reader &reader, const BackupContents &contents) {
    const auto pieces = reader.number<std::uint64_t>();
    const auto bytes = reader.number<std::uint64_t>();
    if (pieces != contents.pieces || bytes != contents.bytes || pieces == 0)
        refuse(reader.path(), "it is altered: its end tells of other pieces than are there");
    const std::string digest = reader.digest();
    if (reader.bytes(Digest::size) != digest)
        refuse(reader.path(), "it is altered: its checksum is another one");
    if (reader.left() != 0)
        refuse(reader.path(), "it is altered: it goes on after its end");
}

} // namespace

BackupWriter::BackupWriter(NewFile &file, const BackupHeader &header) : file_(file) {
    write(magic);
    write(bigEndian(formatVersion));
    write(bigEndian(static_cast<std::uint64_t>(header.created)));
    write(withLength(header.dn));
    write(withLength(header.server));
}

void BackupWriter::write(std::string_view bytes) {
    digest_.add(bytes);
    file_.write(bytes);
}

void BackupWriter::piece(std::string_view chunkSizes, std::string_view data) {
    write(pieceMark + bigEndian(static_cast<std::uint32_t>(chunkSizes.size())) +
          bigEndian(static_cast<std::uint32_t>(data.size())));
    write(chunkSizes);
    write(data);
    ++pieces_;
    bytes_ += data.size();
}

void BackupWriter::finish() {
    write(endMark + bigEndian(pieces_) + bigEndian(bytes_));
    file_.write(digest_.value());
}

BackupFile::BackupFile(std::string path)
    : path_(std::move(path)), descriptor_(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0)
        refuse(path_, std::strerror(errno), "name a file that can be read");
    if (!S_ISREG(status.st_mode)) {
        close(descriptor_);
        refuse(path_, "this is not a file", "name one that backup wrote");
    }
}

BackupFile::~BackupFile() {
    close(descriptor_);
}

BackupContents BackupFile::check() {
    Reader reader(path_, descriptor_);
    BackupContents contents;
    contents.header = readHeader(reader);
    for (PieceSizes sizes{}; readMark(reader, sizes);) {
        checkPiece(reader, sizes);
        ++contents.pieces;
        contents.bytes += sizes.data;
    }
    checkEnd(reader, contents);
    return contents;
}

void BackupFile::pieces(const Take &take) {
    Reader reader(path_, descriptor_);
    readHeader(reader);
    for (PieceSizes sizes{}; readMark(reader, sizes);) {
        std::string chunkSizes = reader.bytes(sizes.chunkSizes);
        std::string data = reader.bytes(sizes.data);
        take(chunkSizes, data);
    }
}

} // namespace qldapx
