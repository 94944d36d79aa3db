// Files that are nearly LDIF: each is taken or refused, with a place and a reason.
#include "system/load_peer_file.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace test {
namespace {

using testing::ContainsRegex;

class Mutator {
  public:
    Mutator(std::string text, unsigned seed) : text_(std::move(text)), random_(seed) {}

    std::string mutated() {
        for (unsigned left = 1 + random_() % 4; left > 0; --left)
            mutate();
        return text_;
    }

  private:
    std::size_t place() { return random_() % (text_.size() + 1); }
    // Where a line begins.
    std::size_t line() {
        const std::size_t end = text_.find('\n', place());
        return end == std::string::npos ? 0 : end + 1;
    }
    std::size_t behindLine(std::size_t begin) {
        const std::size_t end = text_.find('\n', begin);
        return end == std::string::npos ? text_.size() : end + 1;
    }
    std::string piece() {
        static const std::string pieces[] = {"\n",
                                             "\n\n",
                                             "\r\n",
                                             " ",
                                             ":",
                                             "::",
                                             ":<",
                                             "-\n",
                                             "-:\n",
                                             "dn: \n",
                                             "dn:: =\n",
                                             "dn: cn=x\n",
                                             "\xff\xfe",
                                             std::string(1, '\0'),
                                             "\n \n",
                                             "\n  \n",
                                             "#",
                                             ": ",
                                             ":: ====\n",
                                             ":: AAA\n",
                                             "add: cn\n",
                                             "changetype: modify\n",
                                             "changetype: \n",
                                             "changetype: modrdn\n",
                                             "newrdn: cn=y\n",
                                             "deleteoldrdn: 2\n",
                                             "newsuperior:\n",
                                             "control: 1.2 true: x\n",
                                             "control:\n",
                                             "control: x\n",
                                             "control:: AAAA\n",
                                             "jpegphoto:< file:///dev/null\n",
                                             "cn:< file:///nonexistent\n",
                                             "cn:< http://x/\n",
                                             "version: 1\n",
                                             "version: 2\n",
                                             "include: file:///dev/null\n",
                                             ";binary",
                                             ";lang-",
                                             "replace:\n",
                                             "increment: a\n",
                                             std::string(70000, 'a')};
        return pieces[random_() % std::size(pieces)];
    }
    void mutate();

    std::string text_;
    std::mt19937 random_;
};

void Mutator::mutate() {
    const std::size_t begin = line(), end = behindLine(begin), at = place();
    switch (random_() % 8) {
    case 0:
        text_.erase(begin, end - begin);
        break;
    case 1:
        text_.insert(begin, text_.substr(begin, end - begin));
        break;
    case 2:
        text_.insert(begin, piece());
        break;
    case 3:
        text_.insert(at, piece());
        break;
    case 4:
        if (at < text_.size())
            text_[at] = static_cast<char>(random_());
        break;
    case 5:
        text_.erase(at, random_() % 8);
        break;
    case 6:
        text_.resize(at);
        break;
    default:
        std::string moved = text_.substr(begin, end - begin);
        text_.erase(begin, end - begin);
        text_.insert(line(), moved);
    }
}

std::string validRecords() {
    std::ostringstream out;
    PeoplePlan plan;
    plan.people = 8;
    plan.units = 2;
    plan.renames = 1;
    writePeople(plan, out, nullptr);
    const std::string branch = "dn: ou=Branch";
    std::string text = out.str();
    text.erase(text.find(branch), text.rfind("dn: cn=Person") - text.find(branch));
    return text + "dn: cn=c,dc=x\ncontrol: 1.2.3 true: v\nchangetype: modify\nadd: cn\ncn: y\n-\n"
                  "increment: n\nn: 2\n-\n";
}

class LoadPeerHostile : public testing::TestWithParam<unsigned> {
  protected:
    static constexpr unsigned rounds = isSanitized ? 20 : 250;
};

// Status 1 is for a record that is malformed, and then the file and a line are named.
TEST_P(LoadPeerHostile, DryRun) {
    const TemporaryFolder folder;
    const std::string valid = validRecords();
    for (unsigned round = 0; round < rounds; ++round) {
        const unsigned seed = GetParam() * 10000 + round;
        const std::string path = folder.write("hostile.ldif", Mutator(valid, seed).mutated());
        const Result result = runTool({"load", path, "--dry-run"});
        ASSERT_TRUE(result.status == 0 || result.status == 1)
            << "seed " << seed << ": " << result.status << "\n"
            << result.err;
        if (result.status == 1) {
            EXPECT_THAT(result.err, ContainsRegex("hostile\\.ldif:[0-9]+")) << "seed " << seed;
        }
        EXPECT_EQ(result.err.find('\0'), std::string::npos) << "seed " << seed;
        EXPECT_EQ(result.err.find('\x1b'), std::string::npos) << "seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Seed, LoadPeerHostile, testing::Range(0U, 8U));

struct Whole {
    const char *name;
    std::string content;
};

void PrintTo(const Whole &whole, std::ostream *out) {
    *out << whole.name;
}

class LoadPeerOdd : public testing::TestWithParam<Whole> {};

TEST_P(LoadPeerOdd, DryRun) {
    const TemporaryFolder folder;
    const std::string path = folder.write("odd.ldif", GetParam().content);
    for (const Arguments &more : {Arguments{}, Arguments{"--json"}}) {
        Arguments all = {"load", path, "--dry-run"};
        all.insert(all.end(), more.begin(), more.end());
        const Result result = runTool(all);
        EXPECT_TRUE(result.status == 0 || result.status == 1) << result.status << result.err;
        EXPECT_LT(result.peakKiB, isSanitized ? 2048 * 1024 : 300 * 1024);
    }
}

const Whole odd[] = {
    {"Empty", ""},
    {"OneByte", "d"},
    {"Nul", std::string(1, '\0')},
    {"Nuls", std::string(100000, '\0')},
    {"EmptyLines", std::string(100000, '\n')},
    {"Blanks", std::string(100000, ' ')},
    {"BlankLines", "dn: cn=a\n" + std::string(1000, ' ') + "\n"},
    {"Comments", "#" + std::string(100000, 'c') + "\n # more\n"},
    {"OnlyVersion", "version: 1\n"},
    {"VersionTwice", "version: 1\nversion: 1\n\ndn: cn=a\ncn: a\n"},
    {"NoNewlineAtTheEnd", "dn: cn=a\ncn: a"},
    {"NothingButADn", "dn: cn=a\n\n"},
    {"EmptyDn", "dn:\ncn: a\n\n"},
    {"LongDn", "dn: cn=" + std::string(1 << 20, 'a') + "\ncn: a\n"},
    {"LongLine", "dn: cn=a\ncn: " + std::string(8 << 20, 'a') + "\n"},
    {"LongFoldedLine",
     [] {
         std::string text = "dn: cn=a\ncn: a\n";
         for (int i = 0; i < 100000; ++i)
             text += " 0123456789\n";
         return text;
     }()},
    {"ManyAttributes",
     [] {
         std::string text = "dn: cn=a\n";
         for (int i = 0; i < 20000; ++i)
             text += "a" + std::to_string(i) + ": v\n";
         return text;
     }()},
    {"ManyValues",
     [] {
         std::string text = "dn: cn=a\n";
         for (int i = 0; i < 50000; ++i)
             text += "cn: " + std::to_string(i) + "\n";
         return text;
     }()},
    {"GzipMagicAlone", "\x1f\x8b"},
    {"GzipGarbage", "\x1f\x8b\x08" + std::string(100, 'x')},
    {"ByteOrderMark", "\xef\xbb\xbf"
                      "dn: cn=a\ncn: a\n"},
    {"Utf16", std::string("\xff\xfe"
                          "d\0n\0:\0",
                          8)},
    {"Endless", "dn: cn=a\ncn:< file:///dev/zero\n"},
    {"Directory", "dn: cn=a\ncn:< file:///tmp\n"},
    {"Include", "include: file:///dev/zero\n\ndn: cn=a\ncn: a\n"},
};
INSTANTIATE_TEST_SUITE_P(Each, LoadPeerOdd, testing::ValuesIn(odd),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(LoadPeerGzip, ATruncatedFileIsNoEnd) {
    PeoplePlan plan;
    plan.people = 300;
    const PeopleFile file(plan);
    const std::string whole = readFile(file.compressed());
    for (const std::size_t size : {whole.size() / 3, whole.size() - 9, whole.size() - 1}) {
        const TemporaryFolder folder;
        const std::string path = folder.write("cut.ldif.gz", whole.substr(0, size));
        const Result result = runTool({"load", path, "--dry-run"});
        EXPECT_EQ(result.status, 1) << size;
        EXPECT_THAT(result.err, testing::HasSubstr("cut.ldif.gz")) << size;
    }
}

} // namespace
} // namespace test
