#include "system/simulator.h"
#include "system/watching.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace test {
namespace {

using testing::HasSubstr;

/** An event of each kind: its payload for the replay, and the fields' lines of the text. */
struct Kind {
    int kind;
    const char *record; // empty: none
    const char *payload;
    const char *text;
};

#define CONNECTION R"("connection":{"number1":1,"number2":2,"text":"cn=b"},)"
#define CONNECTED R"(connection=(1, 2, "cn=b")  )"

// Counts are the tool's: a replay does not need them.
const Kind kinds[] = {
    {97, "EntryEventData",
     R"({"string1":"cn=a","string2":"x","string3":null,"number4":1,"number5":-2,"number1":3,)"
     R"("number2":4,"number3":2147483647,"value":"v"})",
     R"(string1="cn=a"  string2="x"  number4=1  number5=-2  number1=3  number2=4  )"
     R"(number3=2147483647  value="v")"},
    {98, "ValueEventData",
     R"({"number0":7,"string1":"a","string2":"b","string3":"c","string4":"d","string5":"e",)"
     R"("number1":1,"number2":2,"number3":3,"valueLength":3,"value":{"base64":"AP8B"}})",
     R"(number0=7  string1="a"  string2="b"  string3="c"  string4="d"  string5="e"  number1=1  )"
     R"(number2=2  number3=3  valueLength=3  value=<3 bytes: 00ff01>)"},
    {99, "GeneralEventData",
     R"({"number1":1,"number2":2,"number4":4,"number3":3,"string1":"s","numbers":[9,8,7,0],)"
     R"("strings":["a",null,"c",null]})",
     R"(number1=1  number2=2  number4=4  number3=3  string1="s"  numbers=[9, 8, 7, 0]  )"
     R"(strings=["a", -, "c", -])"},
    {100, "", "null", ""},
    {101, "BinderyEventData",
     R"({"string1":"s","number1":1,"number2":2,"number3":3,"string2":"t"})",
     R"(string1="s"  number1=1  number2=2  number3=3  string2="t")"},
    {102, "SEVEventData",
     R"({"string1":"s","number1":1,"string2":"t","referralCount":2,"referrals":[)"
     R"({"type":1,"value":"ldap://a"},{"type":2,"value":null}]})",
     R"(string1="s"  number1=1  string2="t"  referralCount=2  referrals=[(1, "ldap://a"), (2, -)])"},
    {103, "ModuleStateEventData",
     R"({"string1":"s","number1":1,"string4":"t","name":"module","text":"some text"})",
     R"(string1="s"  number1=1  string4="t"  name="module"  text="some text")"},
    {104, "NetAddrEventData", R"({"addressType":1,"length":6,"value":{"base64":"fwAAAQGF"}})",
     R"(addressType=1  length=6  value=127.0.0.1:389)"},
    {105, "ConnectionStateData", R"({"string1":"s","number1":1,"number2":2,"string2":"t"})",
     R"(string1="s"  number1=1  number2=2  string2="t")"},
    {106, "", "null", ""},
    {107, "", "null", ""},
    {108, "ChangeServerAddressData",
     R"({"number1":1,"number2":2,"number3":3,"addressLength":3,"address":{"base64":"AP//"},)"
     R"("string1":"s","string2":"t"})",
     R"(number1=1  number2=2  number3=3  addressLength=3  address=<3 bytes: 00ffff>  )"
     R"(string1="s"  string2="t")"},
    {109, "ChangeConfigParamData", R"({"paramType":3,"paramName":"p","textValue":"on"})",
     R"(paramType=3  paramName="p"  textValue="on")"},
    {109, "ChangeConfigParamData", R"({"paramType":5,"paramName":"p","intValue":12})",
     R"(paramType=5  paramName="p"  intValue=12)"},
    {110, "", "null", ""},
    {111, "StatusLogEventData",
     R"({"number1":1,"string1":"1","string2":"2","string3":null,"string4":"4","string5":"5",)"
     R"("string6":"6"})",
     R"(number1=1  string1="1"  string2="2"  string4="4"  string5="5"  string6="6")"},
    {112, "DebugEventData",
     R"({"number1":1,"number2":2,"string1":"s","string2":"t","number3":3,"itemCount":7,"items":[)"
     R"({"kind":1,"number":5},{"kind":2,"text":"x"},{"kind":3,"pointer":"abc"},)"
     R"({"kind":4,"number":6},{"kind":5,"number":7,"pointer":{"base64":"AP8="}},)"
     R"({"kind":6,"number":1,"length":2,"third":3},{"kind":7,"triples":[[1,2,3],[4,5,6]]}]})",
     R"(number1=1  number2=2  string1="s"  string2="t"  number3=3  itemCount=7  items=[5, "x", )"
     R"("abc", 6, (7, <2 bytes: 00ff>), (1, 2, 3), [(1, 2, 3), (4, 5, 6)]])"},
    {113, "AuthEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"string1":"s","number3":3,"string2":"t",)"
     R"("sequence1":["a","b"],"number4":4})",
     CONNECTED R"(number1=1  number2=2  string1="s"  number3=3  string2="t"  )"
               R"(sequence1=["a", "b"]  number4=4)"},
    {114, "ConnectionEventData", R"({"number1":1,"number2":2,"string1":"s"})",
     R"(number1=1  number2=2  string1="s")"},
    {115, "SearchEventData",
     R"({"connection":{"number1":1,"number2":2,"text":null},"number1":1,"number2":2,)"
     R"("string1":"s","string2":"t","number3":3,"string3":"u","sequence1":["a"],)"
     R"("sequence2":null,"number4":4})",
     R"(connection=(1, 2, -)  number1=1  number2=2  string1="s"  string2="t"  number3=3  )"
     R"(string3="u"  sequence1=["a"]  number4=4)"},
    {116, "SearchEntryResponseEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"string1":"s","string2":"t",)"
     R"("sequence1":["a"],"number3":3})",
     CONNECTED R"(number1=1  number2=2  string1="s"  string2="t"  sequence1=["a"]  number3=3)"},
    {117, "UpdateEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"number3":3,"string1":"s","string2":"t",)"
     R"("string3":"u","sequence1":["x"],"number4":4})",
     CONNECTED R"(number1=1  number2=2  number3=3  string1="s"  string2="t"  string3="u"  )"
               R"(sequence1=["x"]  number4=4)"},
    {118, "CompareEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"string1":"1","string2":"2","string3":"3",)"
     R"("string4":"4","string5":"5","number3":3})",
     CONNECTED R"(number1=1  number2=2  string1="1"  string2="2"  string3="3"  string4="4"  )"
               R"(string5="5"  number3=3)"},
    {119, "ModDNEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"string1":"1","string2":"2","string3":"3",)"
     R"("string4":"4","sequence1":["x"],"number3":3})",
     CONNECTED R"(number1=1  number2=2  string1="1"  string2="2"  string3="3"  string4="4"  )"
               R"(sequence1=["x"]  number3=3)"},
    {120, "AbandonEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"number3":3,"string1":"s","number4":4})",
     CONNECTED R"(number1=1  number2=2  number3=3  string1="s"  number4=4)"},
    {121, "ExtOpEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"number3":3,"string1":"s","string2":"t",)"
     R"("number4":4})",
     CONNECTED R"(number1=1  number2=2  number3=3  string1="s"  string2="t"  number4=4)"},
    {122, "SysExtOpEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"number3":3,"string1":"1","string2":"2",)"
     R"("string3":"3","string4":"4","string5":"5","string6":"6","number4":4})",
     CONNECTED R"(number1=1  number2=2  number3=3  string1="1"  string2="2"  string3="3"  )"
               R"(string4="4"  string5="5"  string6="6"  number4=4)"},
    {123, "ResponseEventData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"number3":3,"number4":4,"string1":"s",)"
     R"("sequence1":["x","y"]})",
     CONNECTED R"(number1=1  number2=2  number3=3  number4=4  string1="s"  )"
               R"(sequence1=["x", "y"])"},
    {124, "PasswordModifyData",
     R"({)" CONNECTION R"("number1":1,"number2":2,"string1":"s","string2":"t","number3":3,)"
     R"("number4":4})",
     CONNECTED R"(number1=1  number2=2  string1="s"  string2="t"  number3=3  number4=4)"},
    {125, "UnknownOpData", R"({"number1":1,"string1":"s"})", R"(number1=1  string1="s")"},
};

constexpr int firstType = 1000; // beyond those that happen by themselves
constexpr const char *address =
    R"({"addressType":2,"value":{"base64":"AAAAAAAAAAAAAAAAAAAAAQGF"}})";

/** With an address only where one can stand. */
std::string line(int type, const Kind &kind) {
    return fmt::format(R"({{"type":{},"result":{},"kind":{},"payload":{},"address":{}}})", type,
                       type % 3 * 16, kind.kind, kind.payload,
                       *kind.record == '\0' ? "null" : address) +
           "\n";
}

std::string replayLines() {
    std::string lines;
    for (std::size_t i = 0; i < std::size(kinds); ++i)
        lines += line(firstType + static_cast<int>(i), kinds[i]);
    return lines;
}

std::string allTypes() {
    std::string types;
    for (std::size_t i = 0; i < std::size(kinds); ++i)
        types += (i == 0 ? "" : ",") + std::to_string(firstType + i);
    return types;
}

Result replay(const std::string &lines, const Arguments &more) {
    const TemporaryFolder folder;
    const Simulator simulator({"--replay", folder.write("events", lines)});
    Arguments all = {"events",   "watch",   "--type",
                     allTypes(), "--count", std::to_string(std::size(kinds))};
    all.insert(all.end(), more.begin(), more.end());
    return simulator.administer(all);
}

TEST(EventRecord, EachKindAsJson) {
    const Result result = replay(replayLines(), {"--json"});
    EXPECT_EQ(result.err, "");
    const auto lines = Watching::jsonLines(result.out);
    ASSERT_EQ(lines.size(), std::size(kinds));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Kind &kind = kinds[i];
        SCOPED_TRACE(kind.kind);
        const bool any = *kind.record != '\0';
        const int type = firstType + static_cast<int>(i);
        EXPECT_EQ(lines[i]["type"], type);
        EXPECT_EQ(lines[i]["result"], type % 3 * 16);
        EXPECT_EQ(lines[i]["kind"], any ? Json(kind.kind) : Json());
        EXPECT_EQ(lines[i]["record"], any ? Json(kind.record) : Json());
        EXPECT_EQ(lines[i]["payload"], Json::parse(kind.payload));
        EXPECT_EQ(lines[i]["address"], any ? Json::parse(address) : Json());
        EXPECT_EQ(lines[i].size(), 7U);
    }
}

TEST(EventRecord, EachKindAsText) {
    const Result result = replay(replayLines(), {});
    EXPECT_EQ(result.err, "");
    std::istringstream text(result.out);
    for (std::size_t i = 0; i < std::size(kinds); ++i) {
        const Kind &kind = kinds[i];
        SCOPED_TRACE(kind.kind);
        std::string head, fields;
        ASSERT_TRUE(std::getline(text, head));
        const bool any = *kind.record != '\0';
        EXPECT_THAT(head, HasSubstr(fmt::format("  type  {}  {:<28}  result ", firstType + i,
                                                any ? kind.record : "-")));
        if (any) {
            ASSERT_TRUE(std::getline(text, fields));
            EXPECT_EQ(fields, fmt::format("    {}  from=[::1]:389", kind.text));
        }
    }
    std::string more;
    EXPECT_FALSE(std::getline(text, more)) << more;
}

// What the tool prints is what the simulator replays; a kind without record comes without kind.
TEST(EventRecord, TheJsonReplaysToItself) {
    const std::string first = replay(replayLines(), {"--json"}).out;
    std::string lines;
    for (Json event : Watching::jsonLines(first)) {
        if (event["kind"].is_null())
            event["kind"] = 100;
        lines += event.dump() + "\n";
    }
    const auto one = Watching::jsonLines(first);
    const auto other = Watching::jsonLines(replay(lines, {"--json"}).out);
    ASSERT_EQ(one.size(), other.size());
    for (std::size_t i = 0; i < one.size(); ++i)
        for (const char *key : {"type", "result", "kind", "record", "payload", "address"})
            EXPECT_EQ(one[i][key], other[i][key]) << one[i];
}

TEST(EventRecord, KeysStandInTheOrderOfTheRecord) {
    const std::string out = replay(replayLines(), {"--json"}).out;
    EXPECT_EQ(out.rfind(R"({"time":"2)", 0), 0U);
    EXPECT_THAT(out, HasSubstr(R"(","type":1000,"result":16,"kind":97,"record":"EntryEventData",)"
                               R"("payload":{"string1":"cn=a","string2":"x","string3":null,)"
                               R"("number4":1,"number5":-2,"number1":3,)"));
}

} // namespace
} // namespace test
