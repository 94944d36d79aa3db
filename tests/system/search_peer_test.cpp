#include "system/peer.h"
#include "system/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using namespace qldapx_test;
using testing::HasSubstr;
using testing::Not;

Result searchAt(const Bytes &answer, const Arguments &more = {}) {
    const Peer peer(answer);
    Arguments all = {"search", "-H", peer.uri(), "-b", "cn=a"};
    all.insert(all.end(), more.begin(), more.end());
    return runTool(all);
}

constexpr int searchId = 2;

Bytes answer(std::initializer_list<Bytes> operations) {
    Bytes all;
    for (const Bytes &operation : operations)
        all += ldapMessage(searchId, operation);
    return all;
}

Bytes attribute(const Bytes &name, std::initializer_list<Bytes> values) {
    Bytes list;
    for (const Bytes &value : values)
        list += octetString(value);
    return sequence({octetString(name), tlv(0x31, list)});
}

Bytes entry(const Bytes &dn, std::initializer_list<Bytes> attributes) {
    return tlv(0x64, octetString(dn) + sequence(attributes));
}

Bytes reference(std::initializer_list<Bytes> uris) {
    Bytes list;
    for (const Bytes &uri : uris)
        list += octetString(uri);
    return tlv(0x73, list);
}

/** SearchResultEntry with an entry-change control of this value. */
Bytes changedEntry(const Bytes &value) {
    const Bytes control = sequence({octetString("2.16.840.1.113730.3.4.7"), octetString(value)});
    return sequence({integer(searchId), searchEntry("cn=a"), tlv(0xa0, control)});
}

TEST(SearchPeer, ReferencesArePrintedNotFollowed) {
    const Bytes bytes =
        answer({entry("cn=a", {}), reference({"ldap://127.0.0.1:1/cn=b", "ldap://\x1b[31m/"}),
                entry("cn=c", {}), searchDone(0)});
    EXPECT_EQ(searchAt(bytes).out, "dn: cn=a\n\n# ref: ldap://127.0.0.1:1/cn=b\n"
                                   "# ref: ldap://\\x1b[31m/\n\ndn: cn=c\n\n");
    const Json list = searchAt(bytes, {"--json"}).json();
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[1]["references"], Json::array({"ldap://127.0.0.1:1/cn=b", "ldap://\x1b[31m/"}));
}

TEST(SearchPeer, NamesDoNotMakeLines) {
    const Bytes bytes =
        answer({entry("cn=a\ndn: cn=forged", {attribute("sn\nadmin", {"x"})}),
                entry("cn=b", {attribute("sn", {"1"}), attribute("sn", {"2"})}), searchDone(0)});
    const Result text = searchAt(bytes);
    EXPECT_THAT(text.out, Not(HasSubstr("\ndn: cn=forged")));
    EXPECT_THAT(text.out, HasSubstr("\nsn\\x0aadmin: x\n"));
    const Json list = searchAt(bytes, {"--json"}).json();
    EXPECT_EQ(list[1]["attributes"]["sn"], Json::array({"1", "2"}));
}

TEST(SearchPeer, AnEntryThatDoesNotDecodeIsAFailure) {
    const Bytes broken[] = {
        tlv(0x64, octetString("cn=a")),                                  // no attributes
        tlv(0x64, octetString("cn=a") + tlv(0x30, "\x30\x05\x04\x01x")), // cut short
        tlv(0x64, octetString("cn=a") + sequence({sequence({octetString("x")})})),
        tlv(0x64, "\x04\x7f"),
    };
    for (const Bytes &operation : broken) {
        const Result result = searchAt(answer({entry("cn=before", {}), operation}), {"--json"});
        EXPECT_EQ(result.status, 1) << toHex(operation);
        EXPECT_EQ(result.error()["code"], -4) << toHex(operation);
        EXPECT_EQ(result.json()[0]["dn"], "cn=before") << toHex(operation);
    }
}

TEST(SearchPeer, AServerThatFallsSilentIsAFailure) {
    const Result result = searchAt(answer({entry("cn=a", {})}), {"--json", "--timeout", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], -5);
    EXPECT_EQ(result.json().size(), 1U);
}

TEST(SearchPeer, AFollowedSearchThatEndsIsAFailure) {
    const Result ended = searchAt(answer({searchDone(0)}), {"--follow", "--json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.error()["reason"].get<std::string>(), HasSubstr("ended the search"));
    constexpr int unknownControl = 12;
    const Result refused = searchAt(answer({searchDone(unknownControl)}), {"--follow", "--json"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.error()["code"], unknownControl);
    EXPECT_THAT(refused.error()["reason"].get<std::string>(), HasSubstr("control"));
}

TEST(SearchPeer, WhatIsNoChangeIsAFailure) {
    const Result result = searchAt(changedEntry(fromHex("30030a02")), {"--follow", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], -4);
    // SEQUENCE { ENUMERATED 64 }: a kind that nobody knows, and no number
    const Result unknown =
        searchAt(changedEntry(fromHex("30030a0140")), {"--follow", "--json", "--count", "1"});
    EXPECT_EQ(unknown.status, 0);
    EXPECT_EQ(unknown.json()["change"], "change of type 64");
}

TEST(SearchPeer, AStatusThatIsNotThereIsAFailure) {
    for (const char *command : {"status", "reference"}) {
        const Peer peer(answer({searchDone(0)}));
        Arguments all = {command, "-H", peer.uri(), "--json"};
        if (std::string(command) == "reference")
            all.emplace_back("cn=a");
        const Result result = runTool(all);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.error()["code"], -13);
        EXPECT_EQ(result.out, "");
    }
}

} // namespace
} // namespace test
