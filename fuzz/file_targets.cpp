// Files and texts that the tool reads. Whatever is in them, it reads them or says what is wrong.
#include "backup_file.h"
#include "errors.h"
#include "filter_text.h"
#include "load/checkpoint.h"
#include "load/record.h"
#include "memory_file.h"
#include "repeated.h"
#include "schema/raw_file.h"
#include "targets.h"

#include <cstdio>
#include <zlib.h>

namespace qldapx_fuzz {

namespace {

// Whether it was read, and not refused.
template <class Read>
bool isRead(Read read) {
    try {
        read();
    } catch (const qldapx::UsageError &) {
        return false;
    }
    return true;
}

void readBackup(const std::string &path) {
    qldapx::BackupFile file(path);
    qldapx::BackupContents found;
    const qldapx::BackupContents contents = file.check();
    file.pieces([&](std::string & /*chunkSizes*/, std::string &data) {
        ++found.pieces;
        found.bytes += data.size();
    });
    require(found.pieces == contents.pieces && found.bytes == contents.bytes,
            "a file has other pieces than it says");
}

// With the checksum of what stands before it, without which nothing that is changed is read.
Bytes sealed(const Bytes &bytes) {
    qldapx::Digest digest;
    digest.add(bytes);
    return bytes + digest.value();
}

// With each line's own checksum in the place where one is.
Bytes checked(Bytes bytes) {
    constexpr std::string_view mark = ",\"check\":\"";
    constexpr std::size_t digits = 8;
    for (std::size_t at = bytes.find(mark); at != Bytes::npos; at = bytes.find(mark, at + 1)) {
        const std::size_t begin = bytes.rfind('\n', at) + 1;
        char text[digits + 1];
        std::snprintf(text, sizeof text, "%08lx",
                      crc32_z(0, reinterpret_cast<const Bytef *>(&bytes[begin]), at - begin));
        bytes.replace(at + mark.size(), digits, text);
    }
    return bytes;
}

void readRecords(const std::string &path) {
    qldapx::LdifStream stream(path);
    qldapx::RecordReader reader(stream);
    using Kind = qldapx::RecordReader::Kind;
    for (std::uint64_t count = 0;;) {
        qldapx::Record record;
        const Kind kind = reader.next(record);
        if (kind == Kind::End || kind == Kind::Unreadable)
            return;
        if (kind == Kind::Empty)
            continue;
        require(record.number == ++count, "another number of records");
        if (kind == Kind::Record) {
            require(record.dn() != nullptr && record.operation() != nullptr, "an empty record");
            static_cast<void>(record.dnInText());
        }
    }
}

void readSchema(const Bytes &bytes) {
    qldapx::OidMacros macros;
    const qldapx::RawFile file = qldapx::parseSchemaFile(bytes, macros);
    for (const qldapx::RawDescription &description : file.descriptions)
        static_cast<void>(macros.expanded(description.text));
}

} // namespace

void runBackupFile(const Target & /*target*/, const Bytes &bytes) {
    const MemoryFile plain(bytes), whole(sealed(bytes));
    runTwice([&] {
        isRead([&] { readBackup(plain.path()); });
        isRead([&] { readBackup(whole.path()); });
    });
}

// Plain, or compressed if the bytes begin so.
void runLdif(const Target & /*target*/, const Bytes &bytes) {
    const MemoryFile file(bytes);
    runTwice([&] { isRead([&] { readRecords(file.path()); }); });
}

void runCheckpoint(const Target & /*target*/, const Bytes &bytes) {
    const MemoryFile plain(bytes), whole(checked(bytes));
    runTwice([&] {
        isRead([&] { qldapx::Checkpoint::read(plain.path()); });
        isRead([&] { qldapx::Checkpoint::read(whole.path()); });
    });
}

// What is read is written as it was.
void runFilterText(const Target & /*target*/, const Bytes &bytes) {
    runTwice([&] {
        isRead([&] {
            require(qldapx::filterText(qldapx::parseFilter(bytes)) == bytes,
                    "a filter is written otherwise");
        });
        isRead([&] { qldapx::parseFilterClass(bytes); });
    });
}

void runSchemaFile(const Target & /*target*/, const Bytes &bytes) {
    runTwice([&] { isRead([&] { readSchema(bytes); }); });
}

} // namespace qldapx_fuzz
