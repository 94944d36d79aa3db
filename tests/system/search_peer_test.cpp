#include "support/ldap_message.h"
#include "system/process.h"

#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>

namespace test {
namespace {

using namespace qldapx_test;
using testing::HasSubstr;
using testing::Not;

/** A server for one connection: takes the bind, and answers the next request with given bytes. */
class Peer {
  public:
    explicit Peer(Bytes answer)
        : answer_(std::move(answer)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        if (bind(listener_, generic, size) != 0 || listen(listener_, 1) != 0 ||
            getsockname(listener_, generic, &size) != 0)
            throw std::runtime_error("no socket");
        uri_ = "ldap://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        thread_ = std::thread([this] { serve(); });
    }
    ~Peer() {
        shutdown(listener_, SHUT_RDWR); // for a client that never came
        thread_.join();
        close(listener_);
    }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    [[nodiscard]] const std::string &uri() const { return uri_; }

  private:
    void serve() const {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            return;
        const Bytes bound = ldapMessage(
            1, tlv(0x61, join({tlv(0x0a, Bytes(1, '\0')), octetString(""), octetString("")})));
        for (const Bytes &reply : {bound, answer_})
            if (receive(connection))
                send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
        while (receive(connection)) {
        }
        close(connection);
    }
    // The tool waits for each answer: what comes together is one request.
    static bool receive(int connection) {
        std::array<char, 4096> buffer{};
        return recv(connection, buffer.data(), buffer.size(), 0) > 0;
    }

    const Bytes answer_;
    int listener_;
    std::string uri_;
    std::thread thread_;
};

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
