#pragma once

#include "load/buffer_pool.h"
#include "load/ldif_stream.h"
#include "load/record_check.h"

#include <ldap.h>
#include <ldif.h>
#include <qldapx.h>
#include <string>
#include <vector>

namespace qldapx {

/** The kinds of updates, as they are counted. */
enum class Update { Add, Delete, Modify, Rename };
constexpr std::size_t updateKinds = 4;
extern const std::array<const char *, updateKinds> updateNames;

/** A record of the file: its text, and, until it has been sent, what libldap reads in it. */
class Record {
  public:
    Record() = default;
    ~Record() { forget(); }
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;
    Record(Record &&other) noexcept { swap(other); }
    Record &operator=(Record &&other) noexcept;
    void swap(Record &other) noexcept;

    std::uint64_t number = 0;   // in the file, from 1
    unsigned long line = 0;     // of the file
    std::uint32_t checksum = 0; // of the file's records up to this one
    std::uint64_t fileBytes = 0;
    Update kind = Update::Add;
    std::string text; // as it was read, from its dn on; when malformed, from its beginning on

    [[nodiscard]] std::size_t size() const { return text.size() + fileBytes; }
    /** Lets libldap read the record in the buffer, which is this one's until `forget`. */
    std::optional<RecordFault> parse(const RecordLayout &layout, BufferPool &pool,
                                     const LdifBuffer &buffer);
    /** Releases what was read, when nobody needs more than the text. */
    void forget();
    /** Reads the DN in the text anew. */
    [[nodiscard]] std::string dnInText() const;

    [[nodiscard]] const char *dn() const { return parsed_.lr_dn.bv_val; }
    [[nodiscard]] LDAPMod **changes() const { return parsed_.lrop_mods; }
    [[nodiscard]] const char *newRdn() const { return parsed_.lrop_newrdn.bv_val; }
    [[nodiscard]] const char *newSuperior() const { return parsed_.lrop_newsup.bv_val; }
    [[nodiscard]] bool deletesOldRdn() const { return parsed_.lrop_delold != 0; }
    [[nodiscard]] LDAPControl **controls() {
        return controls_.empty() ? nullptr : controls_.data();
    }
    /** For the library, as long as the record stays where it is. */
    LBURPOperation *operation();

  private:
    bool parseControls(const RecordLayout &layout, char *record);
    [[nodiscard]] std::string withoutControls(const RecordLayout &layout) const;
    [[nodiscard]] std::string zeroFault() const;

    LDIFRecord parsed_{};
    std::vector<LDAPControl *> controls_; // ended by nullptr, if there are any
    LBURPOperation operation_{};
    LdifBuffer buffer_;
    BufferPool *pool_ = nullptr; // that the buffer goes back to
};

/** The records of a file, one after the other; it outlives them. */
class RecordReader {
  public:
    enum class Kind { Record, Malformed, Empty, Unreadable, End };

    explicit RecordReader(LdifStream &stream) : stream_(stream), file_{stream.file(), nullptr} {}

    /** Never an empty one. Of whatever kind it is, the record's number, line, checksum and text are
     * there. */
    Kind next(Record &record);
    /** Why the record, or the file behind the last one, cannot be used; the line is the file's. */
    [[nodiscard]] const RecordFault &fault() const { return fault_; }
    /** How many there were. */
    [[nodiscard]] std::uint64_t count() const { return count_; }
    /** Of all of them. */
    [[nodiscard]] std::uint32_t checksum() const { return checksum_; }

  private:
    bool readText(LdifBuffer &buffer);
    Kind take(Record &record, LdifBuffer &buffer);
    Kind malformed(RecordFault fault);

    LdifStream &stream_;
    BufferPool pool_;
    LDIFFP file_;
    unsigned long lines_ = 0;
    std::uint64_t count_ = 0;
    std::uint32_t checksum_ = 0;
    RecordLayout layout_;
    RecordFault fault_;
};

} // namespace qldapx
