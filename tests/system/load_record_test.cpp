#include "support/case_name.h"
#include "system/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

Result check(const TemporaryFolder &folder, const std::string &ldif, const Arguments &more = {}) {
    Arguments all = {"load", "--dry-run", "f.ldif"};
    all.insert(all.end(), more.begin(), more.end());
    static_cast<void>(folder.write("f.ldif", ldif));
    return runTool(all, {{}, {}, folder.path("")});
}

std::string repeated(const std::string &text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

const std::string good = "dn: cn=a\ncn: a\n\n";

struct Malformed {
    std::string name;
    std::string ldif;
    std::string place; // file and line
    std::string reason;
};

void PrintTo(const Malformed &each, std::ostream *stream) {
    *stream << each.name;
}

class MalformedRecord : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedRecord, IsReportedWithItsLineAndReason) {
    const TemporaryFolder folder;
    const Result result = check(folder, GetParam().ldif);
    EXPECT_EQ(result.status, 1) << result.out;
    EXPECT_THAT(result.err, HasSubstr("qldapx: load " + GetParam().place + "\n"));
    std::string words = result.err;
    for (std::size_t gap = words.find("\n                "); gap != std::string::npos;
         gap = words.find("\n                "))
        words.replace(gap, 17, " ");
    EXPECT_THAT(words, HasSubstr(GetParam().reason));
    EXPECT_THAT(result.out, HasSubstr("malformed"));
    // One report, and nothing of libldap's own.
    EXPECT_EQ(result.err.find("qldapx:", 1), std::string::npos) << result.err;
    EXPECT_THAT(result.err, Not(HasSubstr("entry:")));
}

const std::vector<Malformed> malformed = {
    {"NoDn", good + "cn: b\nsn: b\n", "f.ldif:4", "a record begins with dn:"},
    {"LinesBeforeTheDn", good + "cn: b\ndn: cn=b\nsn: b\n", "f.ldif:4", "begins with dn:"},
    {"EmptyDn", "dn:\ncn: b\n", "f.ldif:1", "dn: has no value"},
    {"NoAttributes", good + "# why\ndn: cn=b\n", "f.ldif:5", "an entry without attributes"},
    {"OnlyChangetype", "dn: cn=b\nchangetype: add\n", "f.ldif:1", "without attributes"},
    {"NoColon", "dn: cn=b\ncn: b\n  c\nrubbish\n", "f.ldif:4", "\"rubbish\" has no colon"},
    {"EmptyName", "dn: cn=b\n: b\n", "f.ldif:2", "names no attribute"},
    {"TwoEmptyNames", "dn: cn=b\n: b\n: c\n", "f.ldif:2", "names no attribute"},
    {"BlankInName", "dn: cn=b\nc n: b\n", "f.ldif:2", "names no attribute"},
    {"BlankBehindAName", "dn: cn=b\ncontrol : 1.2\nchangetype: delete\n", "f.ldif:2",
     "names no attribute"},
    {"FoldedName", "dn: cn=b\nc\n n: b\n", "f.ldif:2", "folded before its colon"},
    {"LeadingSpace", good + " dn: cn=b\ncn: b\n", "f.ldif:4", "names no attribute"},
    {"SecondDn", "dn: cn=b\ncn: b\ndn: cn=c\ncn: c\n", "f.ldif:3", "a second dn:"},
    {"SecondChangetype", "dn: cn=b\nchangetype: add\ncn: b\nchangetype: add\n", "f.ldif:4",
     "a second changetype:"},
    {"LateChangetype", "dn: cn=b\ncn: b\nchangetype: delete\n", "f.ldif:3", "changetype:"},
    {"LateControl", "dn: cn=b\nchangetype: add\ncontrol: 1.2\ncn: b\n", "f.ldif:3", "control:"},
    {"UnknownChangetype", "dn: cn=b\nchangetype: destroy\n", "f.ldif:2",
     "unknown changetype \"destroy\""},
    {"FoldedChangetype", "dn: cn=b\nchangetype: ad\n d\ncn: b\n", "f.ldif:2", "unknown changetype"},
    {"UnknownVersion", "version: 2\ndn: cn=b\ncn: b\n", "f.ldif:1", "version \"2\""},
    {"Base64Garbage", "dn: cn=b\n# c\ncn: b\n b\nsn:: @@@@\n", "f.ldif:5", "base64"},
    {"Base64Cut", "dn: cn=b\ncn:: YWJ\n", "f.ldif:2", "base64"},
    {"Base64Empty", "dn: cn=b\ncn::\n", "f.ldif:2", "no value behind \"::\""},
    {"DnWithZero", "dn:: Y249AGI=\ncn: b\n", "f.ldif:1", "the DN holds a NUL byte"},
    {"RdnWithZero", "dn: cn=b\nchangetype: modrdn\nnewrdn:: Y249AGI=\ndeleteoldrdn: 1\n",
     "f.ldif:1", "the new name holds a NUL byte"},
    {"CarriageReturn", "dn: cn=b\ncn: b\rc\n", "f.ldif:2", "carriage return"},
    {"FileThatIsNotThere", "dn: cn=b\ncn:< file:///nowhere/at/all\n", "f.ldif:2",
     "No such file or directory"},
    {"FileWithoutEnd", "dn: cn=b\ncn:< file:///dev/zero\n", "f.ldif:2", "is not a file"},
    {"FileOfAControl", "dn: cn=b\ncontrol: 1.2 true:< file:///dev/zero\nchangetype: delete\n",
     "f.ldif:2", "is not a file"},
    {"OtherUrl", "dn: cn=b\ncn:< http://127.0.0.1/a\n", "f.ldif:2", "others are not fetched"},
    {"NoUrl", "dn: cn=b\ncn:<\n", "f.ldif:2", "no value behind \":<\""},
    {"DashInAnEntry", "dn: cn=b\n-\n", "f.ldif:2", "\"-\" stands where no change ends"},
    {"DashBehindAnAttribute", "dn: cn=b\ncn: b\n-\n", "f.ldif:3", "\"-\" stands"},
    {"LinesBehindADelete", "dn: cn=b\nchangetype: delete\ncn: b\n", "f.ldif:3",
     "nothing may follow"},
    {"ModifyWithoutOperation", "dn: cn=b\nchangetype: modify\ncn: b\n", "f.ldif:3",
     "add:, delete:, replace: or increment: is expected"},
    {"ModifyOfNothing", "dn: cn=b\nchangetype: modify\nadd:\n", "f.ldif:3",
     "add: names no attribute"},
    {"ModifyOfAnotherAttribute", "dn: cn=b\nchangetype: modify\nreplace: cn\nsn: b\n", "f.ldif:4",
     "wrong attributeType"},
    {"AddWithoutValue", "dn: cn=b\nchangetype: modify\nadd: cn\n-\n", "f.ldif:4", "has no value"},
    {"AddWithoutValueAtTheEnd", "dn: cn=b\nchangetype: modify\nadd: cn\n", "f.ldif:1",
     "the last change has no value"},
    {"ModifyWithoutChanges", "dn: cn=b\nchangetype: modify\n", "f.ldif:1", "has no change"},
    {"TwoDashes", "dn: cn=b\nchangetype: modify\nadd: cn\ncn: b\n-\n-\n", "f.ldif:6",
     "\"-\" stands"},
    {"NoNewRdn", "dn: cn=b\nchangetype: modrdn\n", "f.ldif:1", "newrdn: is missing"},
    {"EmptyNewRdn", "dn: cn=b\nchangetype: modrdn\nnewrdn:\ndeleteoldrdn: 1\n", "f.ldif:3",
     "newrdn: has no value"},
    {"NoDeleteOldRdn", "dn: cn=b\nchangetype: moddn\nnewrdn: cn=c\n", "f.ldif:1",
     "deleteoldrdn: is missing"},
    {"OddDeleteOldRdn", "dn: cn=b\nchangetype: moddn\nnewrdn: cn=c\ndeleteoldrdn: yes\n",
     "f.ldif:4", "deleteoldrdn: is 0 or 1"},
    {"OtherLineInARename", "dn: cn=b\nchangetype: moddn\ncn: c\n", "f.ldif:3",
     "newrdn: is expected"},
    {"BrokenControl", "dn: cn=b\ncontrol: nonsense\nchangetype: delete\n", "f.ldif:1",
     "a control cannot be read"},
    {"Zero", good + "dn: cn=b\ncn: " + std::string(1, '\0') + "\n\n", "f.ldif:5", "a NUL byte"},
    {"Include", good + "# more\ninclude: file:///etc/passwd\n\n", "f.ldif:5",
     "include: is not followed"},
    {"IncludeInCapitals", "INCLUDE: file:///dev/zero\n", "f.ldif:1", "include: is not followed"},
    {"OnlyANumber", good + "12345\n\n", "f.ldif:4", "a record begins with dn:"},
};

INSTANTIATE_TEST_SUITE_P(All, MalformedRecord, testing::ValuesIn(malformed),
                         qldapx_test::caseName<Malformed>);

TEST(LoadRecords, AllMalformedOnesAreReported) {
    const TemporaryFolder folder;
    const Result result =
        check(folder, good + "dn: cn=b\n\n" + good + "dn: cn=c\n\n" + good, {"--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("f.ldif:4"));
    EXPECT_THAT(result.err, HasSubstr("f.ldif:9"));
    const Json json = result.json();
    EXPECT_EQ(json["records"], 5);
    EXPECT_EQ(json["malformed"], 2);
    EXPECT_EQ(json["updates"]["add"], 3);
    EXPECT_EQ(json["result"], "malformed");
}

struct Counted {
    std::string name;
    std::string ldif;
    int adds = 0, deletes = 0, modifies = 0, renames = 0;
};

void PrintTo(const Counted &each, std::ostream *stream) {
    *stream << each.name;
}

class GoodRecords : public testing::TestWithParam<Counted> {};

TEST_P(GoodRecords, AreCounted) {
    const TemporaryFolder folder;
    static_cast<void>(folder.write("value", "from a file"));
    const Result result = check(folder, GetParam().ldif, {"--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const Json updates = result.json()["updates"];
    EXPECT_EQ(updates["add"], GetParam().adds);
    EXPECT_EQ(updates["delete"], GetParam().deletes);
    EXPECT_EQ(updates["modify"], GetParam().modifies);
    EXPECT_EQ(updates["rename"], GetParam().renames);
}

const std::vector<Counted> counted = {
    {"Nothing", ""},
    {"OnlyComments", "# a\n# b\n\n\n#c\n"},
    {"OnlyVersion", "version: 1\n\n"},
    {"VersionAndEntry", "version: 1\n" + good, 1},
    {"VersionOfItsOwn", "version: 1\n\n" + good + good, 2},
    {"NoLastLineEnd", "dn: cn=a\ncn: a", 1},
    {"CarriageReturns", "version: 1\r\n\r\ndn: cn=a\r\ncn: a\r\n\r\ndn: cn=b\r\ncn: b\r\n", 2},
    {"Folded", "dn: cn=a,\n dc=b\ncn: a\n  b\n c\n\n", 1},
    {"CommentsInside", "# x\n y\ndn: cn=a\n# x\n y\ncn: a\n#\n\n", 1},
    {"EmptyValue", "dn: cn=a\ncn:\nsn: \n\n", 1},
    {"Base64Name", "dn:: Y249YQ==\ncn:: AAEC\n\n", 1},
    {"ValuesApart", "dn: cn=a\ncn: a\nsn: b\ncn: c\nsn: d\n\n", 1},
    {"RelativeFile", "dn: cn=a\ncn:< file:value\n\n", 1},
    {"EveryKind",
     good +
         "dn: cn=a\nchangetype: add\ncn: a\n\ndn: cn=a\nchangetype: delete\n\n"
         "dn: cn=a\nchangetype: modify\nadd: cn\ncn: b\ncn: c\n-\ndelete: sn\n-\nreplace: d\n-\n"
         "increment: n\nn: 1\n-\n\ndn: cn=a\nchangetype: modrdn\nnewrdn: cn=b\ndeleteoldrdn: 0\n\n"
         "dn: cn=a\nchangetype: moddn\nnewrdn: cn=b\ndeleteoldrdn: 1\nnewsuperior: dc=c\n\n",
     2, 1, 1, 2},
    {"WithoutTheLastDash", "dn: cn=a\nchangetype: modify\nreplace: cn\ncn: b\n", 0, 0, 1},
    {"Controls",
     "dn: cn=a\ncontrol: 1.2.3 true: value\ncontrol: 1.2.4 false:: AAEC\ncontrol: 1.2.5\n"
     "changetype: delete\n\n",
     0, 1},
    {"LongLine", "dn: cn=a\ncn: " + repeated("0123456789", 100000) + "\n\n", 1},
    {"ManyValues", "dn: cn=a\n" + repeated("member: cn=someone\n", 50000) + "\n", 1},
    {"AttributeCalledInclude", "dn: cn=a\ninclude: b\n\n", 1},
};

INSTANTIATE_TEST_SUITE_P(All, GoodRecords, testing::ValuesIn(counted),
                         qldapx_test::caseName<Counted>);

TEST(LoadFile, GzipIsKnownByItsContent) {
    const TemporaryFolder folder;
    static_cast<void>(folder.write("f.ldif", repeated(good, 10000)));
    const Surroundings place = {{}, {}, folder.path("")};
    ASSERT_EQ(runShell("gzip -c f.ldif > plain; { gzip -c f.ldif; gzip -c f.ldif; "
                       "head -c 1000 /dev/zero; } > two; head -c 200 plain > cut; "
                       "{ cat plain; echo rubbish; } > more; { head -c 100 plain; echo damage; "
                       "tail -c 100 plain; } > damaged",
                       place)
                  .status,
              0);
    EXPECT_EQ(runTool({"load", "--dry-run", "--json", "plain"}, place).json()["records"], 10000);
    EXPECT_EQ(runTool({"load", "--dry-run", "--json", "two"}, place).json()["records"], 20000);
    for (const std::string &broken :
         {std::string("cut"), std::string("more"), std::string("damaged")}) {
        const Result result = runTool({"load", "--dry-run", broken}, place);
        EXPECT_EQ(result.status, 1) << broken;
        EXPECT_THAT(result.err, HasSubstr("qldapx: load " + broken + ":"));
        EXPECT_THAT(result.err, HasSubstr("compressed data"));
    }
}

TEST(LoadFile, StandardInputIsReadAsAFileIs) {
    const TemporaryFolder folder;
    static_cast<void>(folder.write("f.ldif", good + good));
    const Surroundings place = {{{"TOOL", QLDAPX_PATH}}, {}, folder.path("")};
    const Result plain = runShell("cat f.ldif | \"$TOOL\" load --dry-run --json -", place);
    EXPECT_EQ(plain.json()["records"], 2);
    const Result packed = runShell("gzip -c f.ldif | \"$TOOL\" load --dry-run --json -", place);
    EXPECT_EQ(packed.json()["records"], 2);
}

TEST(LoadFile, OneThatCannotBeReadIsNamed) {
    const TemporaryFolder folder;
    for (const std::string &path : {folder.path("none.ldif"), folder.path("")}) {
        const Result result = runTool({"load", "--dry-run", path});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr(path));
    }
}

#ifndef __SANITIZE_ADDRESS__ // which copies the record whenever libldap makes room for a line
TEST(LoadFile, ARecordWithoutEndIsAnError) {
    const TemporaryFolder folder;
    const Surroundings place = {{{"TOOL", QLDAPX_PATH}}, {}, folder.path("")};
    const Result result = runShell(
        "{ printf 'dn: cn=a\\ncn: '; yes | tr -d '\\n'; } | \"$TOOL\" load --dry-run -", place);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("a record of more than 64 MiB"));
}
#endif

} // namespace
} // namespace test
