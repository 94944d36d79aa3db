#include "events/replay_line.h"

#include "events.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using stratasim::parseReplayLine;
using wire::hex;
using wire::number;
using wire::text;

/** The notification's operation around a payload of an event of type 1 and result 0. */
std::string notification(const std::string &payload, const std::string &address = {}) {
    return element(0x79, element(0x80, wire::strataOid(81)) +
                             element(0x81, event(1, 0, payload, address)));
}

std::string line(int kind, const std::string &payload, const std::string &more = {}) {
    return R"({"type":1,"result":0,"kind":)" + std::to_string(kind) + R"(,"payload":)" + payload +
           more + "}";
}

constexpr const char *kAddress = R"(,"address":{"addressType":1,"value":{"base64":"fwAAAQGF"}})";
const std::string kAddressBytes = hex("020101 0406 7f000001 0185");

struct Case {
    int kind;
    const char *payload; // JSON
    std::string content; // of the payload, on the wire
};

void expectLines(const std::vector<Case> &cases) {
    for (const Case &c : cases)
        EXPECT_EQ(parseReplayLine(line(c.kind, c.payload))->protocolOp(),
                  notification(element(static_cast<std::uint8_t>(c.kind), c.content)))
            << c.kind << " " << c.payload;
}

// c1 .. c3 are contents of OCTET STRINGs.
TEST(ReplayLine, ServerStateRecords) {
    expectLines({
        {97,
         R"({"string1":"a","string2":"b","string3":"c","number4":4,"number5":5,"number1":1,
             "number2":2,"number3":3,"value":"v"})",
         hex("040161 040162 040163 3009 020101 020102 020103 020104 020105 040176")},
        {97, "{}", hex("0400 0400 0400 3009 020100 020100 020100 020100 020100 0400")},
        {97, "null", hex("0400 0400 0400 3009 020100 020100 020100 020100 020100 0400")},
        {97,
         R"({"string1":null,"number1":-1,"number2":2147483647,"number3":-2147483648,
             "value":{"base64":"AP8="}})",
         hex("0400 0400 0400 300f 0201ff 02047fffffff 020480000000 020100 020100 040200ff")},
        {98,
         R"({"number0":9,"string1":"a","string2":"b","string3":"c","string4":"d","string5":"e",
             "number1":1,"number2":2,"number3":3,"valueLength":77,"value":"v"})",
         hex("040161 040162 040163 040164 040165 3009 020101 020102 020103 040176 020109")},
        {98, R"({"value":""})", hex("0400 0400 0400 0400 0400 3009 020100 020100 020100")},
        {98, R"({"number0":0})", hex("0400 0400 0400 0400 0400 3009 020100 020100 020100 020100")},
        {99,
         R"({"number1":1,"number2":2,"number3":3,"number4":4,"string1":"a",
             "numbers":[5,6,7,8],"strings":["x",null,"z",null]})",
         hex("020101 020102 020103 020104 850161 860c 020105 020106 020107 020108"
             "a708 040178 0400 04017a")},
        {99, R"({"numbers":[],"strings":[null]})",
         hex("020100 020100 020100 020100 8500 8600 a700")},
        {99, R"({"numbers":null})", hex("020100 020100 020100 020100 8500")},
        {100, "null", ""},
        {101, R"({"string1":"a","number1":1,"number2":2,"number3":3,"string2":"b"})",
         hex("040161 020101 020102 020103 040162")},
        {102,
         R"({"string1":"a","number1":1,"string2":"b","referralCount":5,
             "referrals":[{"type":1,"value":"x"},{"type":-2,"value":null}]})",
         hex("040161 020101 040162 3014 020102 300f 3006 020101 040178 3005 0201fe 0400")},
        {102, "{}", hex("0400 020100 0400 3005 020100 3000")},
        {103, R"({"string1":"a","number1":1,"string4":"d","name":"n","text":"t"})",
         hex("040161 020101 04016e 040174 040164")},
        {104, R"({"addressType":1,"length":6,"value":{"base64":"fwAAAQGF"}})",
         hex("020101 0406 7f0000010185")},
        {105, R"({"string1":"a","number1":1,"number2":2,"string2":"b"})",
         hex("040161 020101 020102 040162")},
        {106, "null", ""},
        {107, "{}", ""},
        {108, R"({"number1":1,"number2":2,"number3":3,"address":"x","string1":"a","string2":"b"})",
         hex("020101 020102 020103 040178 040161 040162")},
        {109, R"({"paramType":5,"paramName":"p","intValue":7})", hex("020105 040170 810107")},
        {109, R"({"paramType":2,"paramName":"p","intValue":7})", hex("020102 040170 820107")},
        {109, R"({"paramType":1,"paramName":"p","stringValue":"s"})", hex("020101 040170 830173")},
        {109, R"({"paramType":3,"paramName":"p","textValue":"t","stringValue":"s"})",
         hex("020103 040170 840174")},
        {109, R"({"paramName":"p"})", hex("020100 040170 8500")},
        {110, "null", ""},
        {111,
         R"({"number1":1,"string1":"a","string2":"b","string3":"c","string4":"d","string5":"e",
             "string6":"f"})",
         hex("020101 040161 040162 040163 040164 040165 040166")},
    });
}

TEST(ReplayLine, DebugItems) {
    expectLines({
        {112, R"({"number1":1,"number2":2,"string1":"a","string2":"b","number3":3,"itemCount":9})",
         hex("020101 020102 040161 040162 020103 020100 3000")},
        {112,
         R"({"items":[{"kind":1,"number":5},{"kind":2,"text":"t"},{"kind":2,"text":null},
             {"kind":3,"pointer":"p"},{"kind":4,"number":-1},
             {"kind":5,"number":6,"pointer":{"base64":"/w=="}},
             {"kind":6,"number":1,"length":2,"third":3},
             {"kind":7,"triples":[[1,2,3],[4,5,6]]},{"kind":7,"triples":[]},{"kind":7}]})",
         hex("020100 020100 0400 0400 020100 02010a 304c 810105 820174 8200 830170 8401ff"
             "8506 020106 0401ff 8609 020101 020102 020103"
             "871b 020102 3016 3009 020101 020102 020103 3009 020104 020105 020106"
             "8705 020100 3000 8705 020100 3000")},
    });
}

constexpr const char *kConnection = R"("connection":{"number1":1,"number2":2,"text":"cn=a"},)";
const std::string kConnectionBytes = hex("300c 020101 020102 0404 636e3d61");
const std::string kSequence = hex("300a 3003 040178 3003 040179");

TEST(ReplayLine, OperationRecords) {
    const std::vector<Case> cases = {
        {113,
         R"("number1":1,"number2":2,"string1":"a","number3":3,"string2":"b","number4":4,
            "sequence1":["x","y"])",
         hex("020101 020102 040161 020103 040162 020104 800a 3003040178 3003040179")},
        {113, R"("sequence1":null)", hex("020100 020100 0400 020100 0400 020100")},
        {115,
         R"("number1":1,"number2":2,"string1":"a","string2":"b","number3":3,"string3":"c",
            "sequence1":["x","y"],"sequence2":["x"],"number4":4)",
         hex("020101 020102 040161 040162 020103 040163 020104") + kSequence +
             hex("8005 3003040178")},
        {115, R"("sequence1":null)", hex("020100 020100 0400 0400 020100 0400 020100 3000")},
        {116,
         R"("number1":1,"number2":2,"string1":"a","string2":"b","sequence1":["x","y"],"number3":3)",
         hex("020101 020102 040161 040162 020103") + kSequence},
        {117,
         R"("number1":1,"number2":2,"number3":3,"string1":"a","string2":"b","string3":"c",
            "sequence1":[],"number4":4)",
         hex("020101 020102 020103 040161 040162 040163 020104 8000")},
        {117, R"("number1":1)", hex("020101 020100 020100 0400 0400 0400 020100")},
        {118,
         R"("number1":1,"number2":2,"string1":"a","string2":"b","string3":"c","string4":"d",
            "string5":"e","number3":3)",
         hex("020101 020102 040161 040162 040163 040164 040165 020103")},
        {119,
         R"("number1":1,"number2":2,"string1":"a","string2":"b","string3":"c","string4":"d",
            "sequence1":["x"],"number3":3)",
         hex("020101 020102 040161 040162 040163 040164 020103 8005 3003040178")},
        {119, R"("number1":1)", hex("020101 020100 0400 0400 0400 0400 020100")},
        {120, R"("number1":1,"number2":2,"number3":3,"string1":"a","number4":4)",
         hex("020101 020102 020103 040161 020104")},
        {121, R"("number1":1,"number2":2,"number3":3,"string1":"a","string2":"b","number4":4)",
         hex("020101 020102 020103 040161 040162 020104")},
        {122,
         R"("number1":1,"number2":2,"number3":3,"string1":"a","string2":"b","string3":"c",
            "string4":"d","string5":"e","string6":"f","number4":4)",
         hex("020101 020102 020103 040161 040162 040163 040164 040165 040166 020104")},
        {123, R"("number1":1,"number2":2,"number3":3,"number4":4,"string1":"a","sequence1":["x"])",
         hex("020101 020102 020103 020104 040161 8105 3003040178")},
        {123, R"("number4":4)", hex("020100 020100 020100 020104 0400")},
        {124, R"("number1":1,"number2":2,"string1":"a","string2":"b","number3":3,"number4":4)",
         hex("020101 020102 040161 040162 020103 020104")},
    };
    for (const Case &c : cases) {
        const std::string with = "{" + std::string(kConnection) + c.payload + "}";
        const std::string without = R"({"connection":null,)" + std::string(c.payload) + "}";
        expectLines({{c.kind, with.c_str(), kConnectionBytes + c.content},
                     {c.kind, without.c_str(), hex("3008 020100 020100 0400") + c.content}});
    }
    expectLines({{114, R"({"number1":1,"number2":2,"string1":"a"})", hex("020101 020102 040161")},
                 {125, R"({"number1":1,"string1":"a"})", hex("020101 040161")}});
}

TEST(ReplayLine, TheAddressStandsBehindThePayload) {
    EXPECT_EQ(parseReplayLine(line(106, "null", kAddress))->protocolOp(),
              notification(element(0x6a, ""), kAddressBytes));
    // A reader would take the address for the missing number: it is there, even when it is 0.
    EXPECT_EQ(parseReplayLine(line(98, "{}", kAddress))->protocolOp(),
              notification(element(0x62, hex("0400 0400 0400 0400 0400 3009 020100 020100 020100"
                                             "020100")),
                           kAddressBytes));
    EXPECT_EQ(parseReplayLine(line(106, "null", R"(,"address":null)"))->protocolOp(),
              notification(element(0x6a, "")));
}

TEST(ReplayLine, WhatTheEventSays) {
    const auto one = parseReplayLine(
        R"({"time":"x","unknown":[1],"type":300,"result":-5,"kind":125,"record":7,"payload":{}})");
    EXPECT_EQ(one->type(), 300);
    EXPECT_FALSE(one->succeeded());
    EXPECT_EQ(one->protocolOp(),
              element(0x79, element(0x80, wire::strataOid(81)) +
                                element(0x81, hex("300e 0202012c 0201fb 7d05 020100 0400"))));
    // Without a kind it is that of the event.
    EXPECT_EQ(
        parseReplayLine(R"({"type":1})")->protocolOp(),
        notification(element(0x61, hex("0400 0400 0400 3009 020100 020100 020100 020100 020100"
                                       "0400"))));
}

TEST(ReplayLine, MistakesAreExplained) {
    const std::pair<std::string, const char *> cases[] = {
        {"", "no JSON"},
        {"{", "no JSON, from byte 2 on"},
        {"[1]", "not a JSON object"},
        {"{}", "\"type\" is missing"},
        {R"({"type":"1"})", "\"type\" is no integer"},
        {R"({"type":1.5})", "\"type\" is no integer"},
        {R"({"type":2147483648})", "\"type\" is outside 32 bits"},
        {R"({"type":18446744073709551615})", "\"type\" is outside 32 bits"},
        {R"({"type":-2147483649})", "\"type\" is outside 32 bits"},
        {R"({"type":300})", "\"kind\" is missing"},
        {R"({"type":1,"kind":96})", "\"kind\" is not 97 to 125"},
        {R"({"type":1,"kind":126})", "\"kind\" is not 97 to 125"},
        {R"({"type":1,"kind":"x"})", "\"kind\" is no integer"},
        {R"({"type":1,"payload":[]})", "\"payload\" is no object"},
        {R"({"type":1,"address":1})", "\"address\" is no object"},
        {line(97, R"({"string1":1})"), "\"string1\" is neither a string nor"},
        {line(97, R"({"string1":{"base64":"?"}})"), "\"string1\" is no base64"},
        {line(97, R"({"string1":{"base65":"AA=="}})"), "\"string1\" is neither a string nor"},
        {line(97, R"({"number1":"1"})"), "\"number1\" is no integer"},
        {line(97, R"({"number1":true})"), "\"number1\" is no integer"},
        {line(113, R"({"connection":1})"), "\"connection\" is no object"},
        {line(113, R"({"sequence1":"x"})"), "\"sequence1\" is no list"},
        {line(113, R"({"sequence1":[1]})"), "\"sequence1\" is neither a string nor"},
        {line(99, R"({"numbers":[1,2,3,4,5]})"), "\"numbers\" has more than 4 numbers"},
        {line(99, R"({"strings":["a","b","c","d"]})"), "\"strings\" has more than 3 strings"},
        {line(102, R"({"referrals":[1]})"), "\"referrals\" has an element that is no object"},
        {line(109, R"({"paramType":4})"), "\"paramType\" is none of 0, 1, 2, 3 and 5"},
        {line(112, R"({"items":[{"kind":8}]})"), "whose kind is not 1 to 7"},
        {line(112, R"({"items":[{}]})"), "whose kind is not 1 to 7"},
        {line(112, R"({"items":[{"kind":7,"triples":[[1,2]]}]})"), "no list of 3 numbers"},
        {std::string(1000000, '['), "no JSON"},
        {R"({"type":1,"x":)" + std::string(1000000, '['), "no JSON"},
        {"{\"type\":\xff}", "no JSON"},
        {R"({"type":1e999})", "a number is larger"},
        {"[[6E66", "no JSON"},
        {"[[6E666", "a number is larger"},
    };
    for (const auto &[bad, why] : cases) {
        try {
            parseReplayLine(bad);
            ADD_FAILURE() << bad.substr(0, 100);
        } catch (const std::runtime_error &error) {
            EXPECT_NE(std::string(error.what()).find(why), std::string::npos)
                << bad.substr(0, 100) << ": " << error.what();
        }
    }
}

TEST(ReplayLine, FiltersSeeWhatIsReplayed) {
    const auto matches = [](const std::string &replayed, const char *filter) {
        InProcess server;
        server.bindAdmin();
        Monitored monitor(server, {{1, 0, filter}}, true);
        server.directory.events.publish(parseReplayLine(replayed));
        return monitor.events().size() == 1;
    };
    const std::string general =
        line(99, R"({"numbers":[5,6],"strings":["x",null,"z"],"number1":3})");
    EXPECT_TRUE(matches(general, "(&(numbers=6)(strings=z)(number1=3)(number2=0)(kind=99))"));
    EXPECT_FALSE(matches(general, "(|(numbers=7)(strings=y)(number1=4)(kind=97))"));
    EXPECT_TRUE(matches(line(102, R"({"referrals":[{"type":1,"value":"u"}]})"), "(referrals=u)"));
    EXPECT_TRUE(matches(line(109, R"({"paramType":5,"intValue":7})"), "(intValue=7)"));
    EXPECT_FALSE(matches(line(109, R"({"paramType":1,"intValue":7})"), "(intValue=*)"));
    EXPECT_TRUE(matches(line(112, R"({"items":[{"kind":2,"text":"t"},{"kind":1,"number":4}]})"),
                        "(&(items=t)(items=4))"));
    EXPECT_TRUE(matches(line(106, "null"), "(kind=106)"));
    EXPECT_TRUE(matches(R"({"type":1,"result":32})", "(eventResult=32)"));
}

} // namespace
