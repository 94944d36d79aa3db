// Bulk updates with a server that knows none, and their operations one by one: without the message
// id each is an LDAPMessage, but for a modify DN's new superior.
#include "bulk_update_refusal.h"
#include "session_check.h"
#include "slapd_server.h"
#include "support/ldap_message.h"

#include <algorithm>
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <qldapx.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace qldapx_test;
using test::SlapdServer;

class SlapdBulkUpdate : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>(SlapdServer::Transport::tcp);
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override { ld = server->session(); }
    void TearDown() override { ldap_unbind_ext_s(ld, nullptr, nullptr); }

    static inline std::unique_ptr<SlapdServer> server;
    LDAP *ld = nullptr;
};

TEST_F(SlapdBulkUpdate, RequestsAreRefused) {
    test::expectBulkUpdateRefused(ld, "ou=people,dc=example,dc=com", LDAP_PROTOCOL_ERROR,
                                  "unsupported extended operation");
}

// A connection on which every byte of a request is the test's.
class RawConnection {
  public:
    explicit RawConnection(const std::string &uri)
        : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const auto port = std::stoi(uri.substr(uri.rfind(':') + 1));
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        timeval patience{10, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            throw std::runtime_error("no connection");
    }
    ~RawConnection() { close(socket_); }
    RawConnection(const RawConnection &) = delete;
    RawConnection &operator=(const RawConnection &) = delete;

    // The result code of the answer, which must have that tag; -1 when there is none.
    int request(const Bytes &protocolOpAndControls, ber_tag_t answerTag) {
        const Bytes message = ldapMessage(++id_, protocolOpAndControls);
        EXPECT_EQ(send(socket_, message.data(), message.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(message.size()));
        char answer[4096]; // all the answers are short
        ssize_t size = recv(socket_, answer, sizeof answer, 0);
        if (size <= 0)
            return -1;
        berval bytes{static_cast<ber_len_t>(size), answer};
        BerElement *ber = ber_init(&bytes);
        ber_int_t id = 0, code = -1;
        ber_tag_t tag = 0;
        EXPECT_NE(ber_scanf(ber, "{it{e", &id, &tag, &code), LBER_ERROR);
        ber_free(ber, 1);
        EXPECT_EQ(id, id_);
        EXPECT_EQ(tag, answerTag);
        return code;
    }

    int bind() {
        return request(tlv(LDAP_REQ_BIND, join({integer(3), octetString(SlapdServer::adminDn),
                                                tlv(0x80, SlapdServer::adminPassword)})),
                       LDAP_RES_BIND);
    }

  private:
    int socket_;
    int id_ = 0;
};

// What is within the SEQUENCE that the library has written.
Bytes contentsOf(BerElement *ber) {
    berval written{};
    EXPECT_EQ(ber_flatten2(ber, &written, 0), 0);
    const Bytes bytes(written.bv_val, written.bv_len);
    EXPECT_EQ(bytes.at(0), '\x30');
    const auto length = static_cast<unsigned char>(bytes.at(1));
    return bytes.substr(length < 0x80 ? 2 : 2 + (length & 0x7fU));
}

const char people[] = "ou=people,dc=example,dc=com";
char manageDsaIt[] = LDAP_CONTROL_MANAGEDSAIT;
LDAPControl critical{manageDsaIt, {0, nullptr}, 1};
LDAPControl *controls[] = {&critical, nullptr};

using Values = std::vector<std::string>;

struct Modification {
    int operation;
    const char *type;
    Values values;
    bool isBytes = false;
};

// Owns an LDAPMod ** list.
class Modifications {
  public:
    explicit Modifications(std::vector<Modification> list) : mods_(std::move(list)) {
        for (Modification &mod : mods_)
            add(mod);
        list_.push_back(nullptr);
    }
    LDAPMod **list() { return list_.data(); }

  private:
    void add(Modification &mod) {
        auto &bervals = *bervals_.emplace_back(std::make_unique<std::vector<berval>>());
        auto &pointers = *pointers_.emplace_back(std::make_unique<std::vector<void *>>());
        bervals.reserve(mod.values.size());
        for (std::string &value : mod.values)
            if (mod.isBytes)
                pointers.push_back(&bervals.emplace_back(berval{value.size(), value.data()}));
            else
                pointers.push_back(value.data());
        pointers.push_back(nullptr);
        LDAPMod &entry = *entries_.emplace_back(std::make_unique<LDAPMod>());
        entry.mod_op = mod.operation | (mod.isBytes ? LDAP_MOD_BVALUES : 0);
        entry.mod_type = const_cast<char *>(mod.type);
        if (mod.isBytes)
            entry.mod_bvalues = reinterpret_cast<berval **>(pointers.data());
        else
            entry.mod_values = reinterpret_cast<char **>(pointers.data());
        list_.push_back(&entry);
    }

    std::vector<Modification> mods_;
    std::vector<std::unique_ptr<std::vector<berval>>> bervals_;
    std::vector<std::unique_ptr<std::vector<void *>>> pointers_;
    std::vector<std::unique_ptr<LDAPMod>> entries_;
    std::vector<LDAPMod *> list_;
};

// The values of an attribute, sorted; an entry that is not there has "none".
Values valuesOf(LDAP *ld, const std::string &dn, const char *type) {
    LDAPMessage *found = nullptr;
    int result = ldap_search_ext_s(ld, dn.c_str(), LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr,
                                   nullptr, nullptr, LDAP_NO_LIMIT, &found);
    test::MessagePtr owner(found);
    if (result != LDAP_SUCCESS)
        return {"none"};
    Values values;
    berval **given = ldap_get_values_len(ld, ldap_first_entry(ld, found), type);
    for (int i = 0; given != nullptr && given[i] != nullptr; ++i)
        values.emplace_back(given[i]->bv_val, given[i]->bv_len);
    ldap_value_free_len(given);
    std::sort(values.begin(), values.end());
    return values;
}

class EncodedOperation : public SlapdBulkUpdate, public testing::WithParamInterface<int> {
  protected:
    void SetUp() override {
        SlapdBulkUpdate::SetUp();
        connection.emplace(server->uri());
        ASSERT_EQ(connection->bind(), LDAP_SUCCESS);
    }

    // Encodes an operation and has the server carry it out.
    template <class Encode, class... Arguments>
    int carryOut(ber_tag_t answerTag, Encode encode, Arguments... arguments) {
        BerElement *ber = ber_alloc_t(GetParam());
        if (encode(nullptr, arguments..., ber) != LDAP_SUCCESS)
            return -1;
        const Bytes contents = contentsOf(ber);
        ber_free(ber, 1);
        return connection->request(contents, answerTag);
    }
    int add(std::string dn, LDAPControl **list = nullptr) {
        Modifications attributes({{0, "objectClass", {"inetOrgPerson"}},
                                  {0, "cn", {"bulk"}},
                                  {LDAP_MOD_REPLACE, "sn", {"B\xc3\xbclk", "other"}},
                                  {0, "jpegPhoto", {photo}, true}});
        return carryOut(LDAP_RES_ADD, LBURPEncodeAdd, dn.data(), attributes.list(), list);
    }
    int remove(std::string dn, LDAPControl **list = nullptr) {
        return carryOut(LDAP_RES_DELETE, LBURPEncodeDelete, dn.data(), list);
    }
    int rename(std::string dn, std::string rdn, int deletesOldRdn) {
        return carryOut(LDAP_RES_MODDN, LBURPEncodeModRDN, dn.data(), rdn.data(),
                        static_cast<char *>(nullptr), deletesOldRdn,
                        static_cast<LDAPControl **>(nullptr));
    }

    const std::string entry = std::string("cn=bulk,") + people;
    const Bytes photo{Bytes("\0\xff\x30\0", 4) + Bytes(70000, 'p')};
    std::optional<RawConnection> connection;
};

TEST_P(EncodedOperation, Add) {
    ASSERT_EQ(add(entry), LDAP_SUCCESS);
    EXPECT_EQ(valuesOf(ld, entry, "sn"), (Values{"B\xc3\xbclk", "other"}));
    EXPECT_TRUE(valuesOf(ld, entry, "jpegPhoto") == Values{photo});
    EXPECT_EQ(add(entry), LDAP_ALREADY_EXISTS);
    EXPECT_EQ(remove(entry), LDAP_SUCCESS);
    EXPECT_EQ(valuesOf(ld, entry, "cn"), Values{"none"});
    EXPECT_EQ(remove(entry), LDAP_NO_SUCH_OBJECT);
}

// An unknown critical control shows that the server reads them.
TEST_P(EncodedOperation, Controls) {
    EXPECT_EQ(add(entry, controls), LDAP_SUCCESS);
    char unknown[] = "1.2.3.4";
    char value[] = "\x30\x03\x02\x01\x05";
    LDAPControl control{unknown, {5, value}, 1};
    LDAPControl *list[] = {&critical, &control, nullptr}, *none[] = {nullptr};
    EXPECT_EQ(remove(entry, list), LDAP_UNAVAILABLE_CRITICAL_EXTENSION);
    control.ldctl_iscritical = 0;
    EXPECT_EQ(remove(entry, list), LDAP_SUCCESS);
    EXPECT_EQ(remove(entry, none), LDAP_NO_SUCH_OBJECT);
}

TEST_P(EncodedOperation, Modify) {
    ASSERT_EQ(add(entry), LDAP_SUCCESS);
    Modifications changes({{LDAP_MOD_ADD, "mail", {"a@example.com", "b@example.com"}},
                           {LDAP_MOD_DELETE, "sn", {"other"}, true},
                           {LDAP_MOD_REPLACE, "description", {"new", "newer"}, true},
                           {LDAP_MOD_DELETE, "jpegPhoto", {}}});
    std::string name = entry;
    EXPECT_EQ(carryOut(LDAP_RES_MODIFY, LBURPEncodeMod, name.data(), changes.list(),
                       static_cast<LDAPControl **>(nullptr)),
              LDAP_SUCCESS);
    EXPECT_EQ(valuesOf(ld, entry, "mail"), (Values{"a@example.com", "b@example.com"}));
    EXPECT_EQ(valuesOf(ld, entry, "sn"), Values{"B\xc3\xbclk"});
    EXPECT_EQ(valuesOf(ld, entry, "description"), (Values{"new", "newer"}));
    EXPECT_EQ(valuesOf(ld, entry, "jpegPhoto"), Values{});
    EXPECT_EQ(remove(entry), LDAP_SUCCESS);
}

TEST_P(EncodedOperation, RenameInPlace) {
    ASSERT_EQ(add(entry), LDAP_SUCCESS);
    const std::string second = std::string("cn=second,") + people;
    const std::string third = std::string("cn=third,") + people;
    EXPECT_EQ(rename(entry, "cn=second", 0), LDAP_SUCCESS);
    EXPECT_EQ(valuesOf(ld, second, "cn"), (Values{"bulk", "second"}));
    EXPECT_EQ(rename(second, "cn=third", 1), LDAP_SUCCESS);
    EXPECT_EQ(valuesOf(ld, third, "cn"), (Values{"bulk", "third"}));
    EXPECT_EQ(remove(third), LDAP_SUCCESS);
}

// It has no tag of its own, so that an LDAP server takes it for no part of the request.
TEST_P(EncodedOperation, NewSuperiorIsNoneOfRfc4511) {
    ASSERT_EQ(add(entry), LDAP_SUCCESS);
    std::string name = entry, rdn = "cn=second", superior = "dc=example,dc=com";
    EXPECT_EQ(carryOut(LDAP_RES_MODDN, LBURPEncodeModRDN, name.data(), rdn.data(), superior.data(),
                       1, static_cast<LDAPControl **>(nullptr)),
              LDAP_SUCCESS);
    EXPECT_EQ(valuesOf(ld, "cn=second,dc=example,dc=com", "cn"), Values{"none"});
    EXPECT_EQ(remove(std::string("cn=second,") + people), LDAP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Peer, EncodedOperation, testing::Values(0, LBER_USE_DER),
                         [](const auto &test) { return test.param == 0 ? "Ber" : "Der"; });

} // namespace
