#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>
#include <zlib.h>

namespace qldapx {

/**
 * Finds what libldap's reader must never see: a NUL, which sends it astray, and "include:", with
 * which it would read any file it is told to, for ever if need be.
 */
class LineGuard {
  public:
    /** How much of the text may be passed on; what stands behind it is named by `fault`. */
    std::size_t check(std::string_view text);
    [[nodiscard]] const char *fault() const { return fault_; }

  private:
    [[nodiscard]] bool includes() const;
    void endLine();

    std::string head_; // what the line begins with
    bool beforeRecord_ = true;
    const char *fault_ = nullptr;
};

/** An LDIF file, standard input or the same compressed by gzip, as a C stream for libldap. */
class LdifStream {
  public:
    /** Throws UsageError when the file cannot be opened. */
    explicit LdifStream(const std::string &path);
    ~LdifStream();
    LdifStream(const LdifStream &) = delete;
    LdifStream &operator=(const LdifStream &) = delete;

    static constexpr std::size_t longestRecord = std::size_t{64} << 20U;

    [[nodiscard]] FILE *file() const { return file_.get(); }
    /** For messages. */
    [[nodiscard]] const std::string &name() const { return name_; }
    /** Why it cannot be read on; empty while it can. */
    [[nodiscard]] const std::string &fault() const { return fault_; }
    /** How much of the file, as it lies there, has been read; of how much, if that is known. */
    [[nodiscard]] std::uint64_t consumed() const { return consumed_; }
    [[nodiscard]] std::optional<std::uint64_t> size() const { return size_; }
    /** The reader has a record whole: the next one may be as long again. */
    void recordRead() { sinceRecord_ = 0; }

  private:
    static constexpr std::size_t bufferSize = std::size_t{64} << 10U;
    struct Close {
        void operator()(FILE *file) const { std::fclose(file); }
    };

    void openFile(const std::string &path);
    void detectCompression();
    ssize_t read(char *buffer, std::size_t size);
    ssize_t readPlain(char *buffer, std::size_t size);
    ssize_t readCompressed(char *buffer, std::size_t size);
    bool refill();
    bool nextMember();
    ssize_t fail(const std::string &reason);

    std::string name_;
    std::string fault_;
    int descriptor_ = -1;
    std::optional<std::uint64_t> size_;
    std::uint64_t consumed_ = 0;
    std::size_t sinceRecord_ = 0;
    LineGuard guard_;
    bool compressed_ = false;
    bool atEnd_ = false;    // of the descriptor
    bool inMember_ = false; // of a compressed file
    z_stream zlib_{};
    std::vector<char> input_;
    std::size_t begin_ = 0, end_ = 0; // what of the input has not been used
    std::vector<char> streamBuffer_;
    std::unique_ptr<FILE, Close> file_;
};

} // namespace qldapx
