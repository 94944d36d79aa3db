#include "load/record.h"

#include "load/quiet_parse.h"
#include "text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace qldapx {
namespace {

/** libldap's words for a fault, without its program, its count of lines and the entry. */
std::string reasonIn(const std::string &complaint) {
    if (complaint.find("invalid format") != std::string::npos)
        return "the value cannot be read: is its base64 whole, and its file there?";
    std::string text =
        complaint.substr(std::min(complaint.find_first_not_of(": "), complaint.size()));
    constexpr std::array ends = {" (line ", " at line ", ", line ", "\n"};
    for (const char *end : ends)
        text.erase(std::min(text.find(end), text.size()));
    return text.empty() ? "libldap cannot read the record" : printable(text);
}

unsigned long lineIn(const std::string &complaint) {
    const std::size_t word = complaint.find("line ");
    return word == std::string::npos ? 0 : std::strtoul(complaint.c_str() + word + 5, nullptr, 10);
}

Update kindOf(ber_tag_t operation) {
    switch (operation) {
    case LDAP_REQ_ADD:
        return Update::Add;
    case LDAP_REQ_DELETE:
        return Update::Delete;
    case LDAP_REQ_MODIFY:
        return Update::Modify;
    default:
        return Update::Rename;
    }
}

/** A line with those that continue it, without its end. */
std::string_view wholeLine(const char *text) {
    const char *end = std::strchr(text, '\n');
    while (end != nullptr && end[1] == ' ')
        end = std::strchr(end + 1, '\n');
    return end == nullptr ? std::string_view(text)
                          : std::string_view(text, static_cast<std::size_t>(end - text));
}

bool holdsZero(const berval &text) {
    return text.bv_val != nullptr && std::strlen(text.bv_val) != text.bv_len;
}

} // namespace

const std::array<const char *, updateKinds> updateNames = {"add", "delete", "modify", "rename"};

Record &Record::operator=(Record &&other) noexcept {
    swap(other);
    return *this;
}

void Record::swap(Record &other) noexcept {
    std::swap(number, other.number);
    std::swap(line, other.line);
    std::swap(checksum, other.checksum);
    std::swap(fileBytes, other.fileBytes);
    std::swap(kind, other.kind);
    text.swap(other.text);
    std::swap(parsed_, other.parsed_);
    controls_.swap(other.controls_);
    std::swap(buffer_, other.buffer_);
    std::swap(pool_, other.pool_);
}

void Record::forget() {
    ldap_ldif_record_done(&parsed_);
    for (LDAPControl *control : controls_)
        ldap_control_free(control);
    controls_.clear();
    if (pool_ != nullptr)
        pool_->give(buffer_);
    buffer_ = {};
    pool_ = nullptr;
}

// libldap reads only one control of a record: each is read for itself, and then is a comment.
bool Record::parseControls(const RecordLayout &layout, char *record) {
    for (const std::size_t offset : layout.controls) {
        char *control = record + offset - layout.body;
        Record single;
        std::string lines =
            "dn: cn=any\n" + std::string(wholeLine(control)) + "\nchangetype: delete\n";
        std::string complaint;
        if (parseQuietly({lines.size(), lines.data()}, single.parsed_, complaint) != LDAP_SUCCESS ||
            single.parsed_.lr_ctrls == nullptr)
            return false;
        if (controls_.empty())
            controls_.push_back(nullptr);
        controls_.insert(controls_.end() - 1, std::exchange(single.parsed_.lr_ctrls[0], nullptr));
        *control = '#';
    }
    return true;
}

// The library takes C strings: what stands behind a NUL would be lost.
std::string Record::zeroFault() const {
    const bool isRename = kind == Update::Rename;
    if (holdsZero(parsed_.lr_dn))
        return "the DN holds a NUL byte";
    if (isRename && (holdsZero(parsed_.lrop_newrdn) || holdsZero(parsed_.lrop_newsup)))
        return "the new name holds a NUL byte";
    const bool mayBeRoot = kind == Update::Modify;
    return parsed_.lr_dn.bv_len == 0 && !mayBeRoot ? "dn: has no value" : std::string();
}

std::optional<RecordFault> Record::parse(const RecordLayout &layout, BufferPool &pool,
                                         const LdifBuffer &buffer) {
    buffer_ = buffer;
    pool_ = &pool;
    char *begin = buffer.bytes + layout.body;
    fileBytes = layout.fileBytes;
    if (!parseControls(layout, begin))
        return RecordFault{0, "a control cannot be read: it is OID [true|false] [: VALUE]"};
    std::string complaint;
    const int result = parseQuietly({text.size(), begin}, parsed_, complaint);
    if (result == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    if (result != LDAP_SUCCESS)
        return RecordFault{physicalLine(withoutControls(layout), lineIn(complaint)),
                           reasonIn(complaint)};
    kind = kindOf(parsed_.lr_op);
    std::string reason = zeroFault();
    if (!reason.empty())
        return RecordFault{0, std::move(reason)};
    return {};
}

std::string Record::withoutControls(const RecordLayout &layout) const {
    std::string result = text;
    for (const std::size_t offset : layout.controls)
        result[offset - layout.body] = '#';
    return result;
}

LBURPOperation *Record::operation() {
    const bool isRename = kind == Update::Rename;
    operation_.type = static_cast<std::int32_t>(parsed_.lr_op);
    operation_.dn = parsed_.lr_dn.bv_val;
    operation_.changes = isRename ? static_cast<void *>(parsed_.lrop_newrdn.bv_val)
                                  : static_cast<void *>(parsed_.lrop_mods);
    operation_.controls = controls();
    return &operation_;
}

std::string Record::dnInText() const {
    std::string copy = text;
    berval name{}, value{};
    int isOwn = 0;
    char *position = copy.data();
    char *first = ldif_getline(&position);
    if (first == nullptr || ldif_parse_line2(first, &name, &value, &isOwn) != 0)
        return {};
    std::string dn(value.bv_val, value.bv_len);
    if (isOwn != 0)
        ber_memfree(value.bv_val);
    return dn;
}

/** False at the end, of the file or of what can be read of it. */
bool RecordReader::readText(LdifBuffer &buffer) {
    buffer = pool_.take();
    if (buffer.bytes != nullptr)
        *buffer.bytes = '\0'; // nothing may have come when the record ends
    stream_.recordRead();
    const int found = ldif_read_record(&file_, &lines_, &buffer.bytes, &buffer.size);
    if (stream_.fault().empty() && found == 0 && std::feof(file_.fp) == 0)
        throw std::bad_alloc();
    return found != 0 && stream_.fault().empty();
}

RecordReader::Kind RecordReader::next(Record &record) {
    record.forget();
    while (true) {
        LdifBuffer buffer;
        const Kind kind = readText(buffer) ? take(record, buffer) : Kind::End;
        pool_.give(buffer);
        if (!stream_.fault().empty()) {
            fault_ = {lines_ + 1, stream_.fault()};
            return Kind::Unreadable;
        }
        if (kind != Kind::Empty)
            return kind;
    }
}

RecordReader::Kind RecordReader::malformed(RecordFault fault) {
    fault_ = std::move(fault);
    return Kind::Malformed;
}

/** What a record turned out to be. A well-formed one keeps the buffer. */
RecordReader::Kind RecordReader::take(Record &record, LdifBuffer &buffer) {
    const std::string_view text = buffer.bytes == nullptr ? "" : buffer.bytes;
    std::optional<RecordFault> fault = checkRecord(text, layout_);
    if (!fault && layout_.empty && !text.empty())
        return Kind::Empty;
    const unsigned long first = lines_ - layout_.lines + (std::feof(file_.fp) != 0 ? 1 : 0);
    checksum_ = static_cast<std::uint32_t>(
        crc32_z(checksum_, reinterpret_cast<const Bytef *>(text.data()), text.size()));
    record.number = ++count_;
    record.checksum = checksum_;
    record.line = first + layout_.line;
    record.text.assign(text.substr(layout_.body));
    // libldap has dropped the line, and there was no more
    if (buffer.bytes == nullptr || text.empty())
        return malformed({first - 1, "a record begins with dn:, and this one with a number"});
    if (fault)
        return malformed({first + fault->line, std::move(fault->reason)});
    fault = record.parse(layout_, pool_, std::exchange(buffer, {}));
    if (!fault)
        return Kind::Record;
    record.forget();
    return malformed({record.line + fault->line, std::move(fault->reason)});
}

} // namespace qldapx
