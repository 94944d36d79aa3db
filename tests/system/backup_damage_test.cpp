#include "system/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

namespace test {
namespace {

using testing::HasSubstr;

std::string bigEndian(std::uint64_t number, int size) {
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift & 0xffU);
    return bytes;
}

std::string text(const std::string &content) {
    return bigEndian(content.size(), 4) + content;
}

const std::string magic = "\x89QLB\r\n\x1a\n";
const std::string zero(1, '\0');

std::string header(const std::string &dn) {
    return magic + bigEndian(1, 4) + bigEndian(86400, 8) + text(dn) + text("ldap://h");
}

std::string piece(const std::string &chunkSizes, const std::string &data) {
    return "P" + bigEndian(chunkSizes.size(), 4) + bigEndian(data.size(), 4) + chunkSizes + data;
}

std::string end(std::uint64_t pieces, std::uint64_t bytes) {
    return "E" + bigEndian(pieces, 8) + bigEndian(bytes, 8);
}

std::string sealed(const std::string &content) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char *>(content.data()), content.size(), digest);
    return content + std::string(reinterpret_cast<const char *>(digest), sizeof digest);
}

const std::string whole =
    sealed(header("cn=a") + piece("1;3;", "ab" + zero) + piece("1;2;", "de") + end(2, 5));

class BackupDamage : public testing::Test {
  protected:
    /** Nothing listens there: whoever connects gets another status. */
    [[nodiscard]] Result restore(const std::string &content) const {
        const std::string file = folder_.write("file", content);
        return runTool({"restore", "cn=a", file}, {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}});
    }
    [[nodiscard]] Result check(const std::string &content, const Arguments &more = {}) const {
        Arguments all = {"restore", "--check", folder_.write("file", content)};
        all.insert(all.end(), more.begin(), more.end());
        return runTool(all);
    }

  private:
    TemporaryFolder folder_;
};

TEST_F(BackupDamage, TheWholeFileIsTaken) {
    const Result result = check(whole);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "dn       cn=a\nserver   ldap://h\ncreated  1970-01-02T00:00:00Z\n"
                          "bytes    5\npieces   2\n");
    const Json json = {{"dn", "cn=a"},
                       {"server", "ldap://h"},
                       {"created", "1970-01-02T00:00:00Z"},
                       {"bytes", 5},
                       {"pieces", 2}};
    EXPECT_EQ(check(whole, {"--json"}).json(), json);
    // It gets as far as the connection.
    EXPECT_EQ(restore(whole).status, 1);
    EXPECT_THAT(restore(whole).err, HasSubstr("no connection"));
}

TEST_F(BackupDamage, EveryByteCounts) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::string damaged = whole;
        damaged[i] = static_cast<char>(damaged[i] ^ 1);
        const Result result = restore(damaged);
        EXPECT_EQ(result.status, 2) << i;
        EXPECT_EQ(result.out, "") << i;
    }
}

TEST_F(BackupDamage, EveryTruncationIsRefused) {
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(restore(whole.substr(0, size)).status, 2) << size;
}

TEST_F(BackupDamage, EachDamageIsNamed) {
    const std::string newer = magic + bigEndian(2, 4) + whole.substr(12);
    std::string altered = whole;
    altered[whole.find("de")] = 'D';
    const std::string huge = header("cn=a") + "P" + bigEndian(4, 4) + bigEndian(0x7fffffff, 4);
    const std::pair<std::string, const char *> cases[] = {
        {"", "the file is empty"},
        {"dn: cn=a\nobjectClass: top\n", "no backup file"},
        {magic.substr(0, 5), "no backup file"},
        {newer, "its format has version 2"},
        {altered, "checksum"},
        {whole.substr(0, 60), "truncated"},
        {huge + "1;3;abc", "ends too early"},
        {whole + "x", "goes on after its end"},
        {sealed(header("cn=a") + end(0, 0)), "other pieces"},
        {sealed(header("cn=a") + piece("1;3;", "abc") + end(1, 4)), "other pieces"},
        {sealed(header("cn=a") + piece("", "abc") + end(1, 3)), "impossible size"},
        {sealed(header("cn=a") + piece("1;%n;", "abc") + end(1, 3)), "no numbers"},
        {sealed(header("cn=a" + zero) + piece("1;3;", "abc") + end(1, 3)), "zero byte"},
        {sealed(header("cn=a") + "X" + end(0, 0)), "neither a piece nor the end"},
    };
    for (const auto &[content, words] : cases) {
        const Result result = check(content);
        EXPECT_EQ(result.status, 2) << words;
        EXPECT_THAT(result.err, HasSubstr(words));
        EXPECT_THAT(result.err, HasSubstr("  try: "));
    }
}

TEST_F(BackupDamage, WhatItHoldsDoesNotSteerTheTerminal) {
    const Result result = check(sealed(header("\x1b[31m") + piece("1;1;", "a") + end(1, 1)));
    EXPECT_THAT(result.out, HasSubstr("\\x1b[31m"));
}

TEST_F(BackupDamage, AnotherDnIsRefused) {
    const TemporaryFolder folder;
    const std::string file = folder.write("file", whole);
    const auto restoreAs = [&](const char *dn) {
        return runTool({"restore", dn, file}, {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}});
    };
    EXPECT_EQ(restoreAs("cn=b").status, 2);
    EXPECT_THAT(restoreAs("cn=b").err, HasSubstr("a backup of cn=a, not of cn=b"));
    EXPECT_EQ(restoreAs("CN = A").status, 1); // another spelling of it
}

TEST(BackupFile, WhatIsNoFileIsNamed) {
    const TemporaryFolder folder;
    for (const std::string &path : {folder.path("none"), folder.path(""), std::string("/dev/zero")})
        EXPECT_EQ(runTool({"restore", "--check", path}).status, 2) << path;
    EXPECT_EQ(runTool({"restore", "cn=a"}).status, 2);
    EXPECT_EQ(runTool({"restore", "cn=a", "--check", "/dev/null"}).status, 2);
}

} // namespace
} // namespace test
