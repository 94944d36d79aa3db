#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::number;
using wire::text;

/** One response value of a replica's information, field by field. */
struct Info {
    std::string number, type, state, lastSync, count, server, flags, waiting;
};

class ReplicaTest : public testing::Test {
  protected:
    ReplicaTest() { server_.bindAdmin(); }

    // All in wire order.
    int add(std::uint8_t flags, std::uint8_t type, const char *server, const char *partition) {
        return server_.extended(7, number(flags) + number(type) + text(server) + text(partition))
            .code;
    }
    int remove(const char *server, const char *partition) {
        return server_.extended(11, number(0) + text(server) + text(partition)).code;
    }
    int retype(std::uint8_t type, const char *server, const char *partition) {
        return server_.extended(15, number(0) + number(type) + text(server) + text(partition)).code;
    }
    wire::Response infoResponse(const char *server, const char *partition) {
        return server_.extended(17, text(server) + text(partition));
    }
    Info info(const char *server, const char *partition) {
        const auto response = infoResponse(server, partition);
        EXPECT_EQ(response.code, 0) << response.diagnostic;
        const auto parts = wire::elements(response.value);
        EXPECT_EQ(parts.size(), 8U);
        if (parts.size() != 8)
            return {};
        return {parts[0].content, parts[1].content, parts[2].content, parts[3].content,
                parts[4].content, parts[5].content, parts[6].content, parts[7].content};
    }
    void touch(const char *dn) {
        EXPECT_EQ(server_.code(wire::modify(dn, {{2, {"description", {"new"}}}})), 0);
    }
    std::string waiting(const char *server, const char *partition) {
        return info(server, partition).waiting;
    }

    InProcess server_;
    const std::string zero_{std::string(1, '\0')};
};

TEST_F(ReplicaTest, InfoIsTheBareFieldsInTheirOrder) {
    const auto response = infoResponse(kServer2, kEmea);
    EXPECT_EQ(response.oid, wire::strataOid(18));
    // 1000000 is the time that stands still.
    EXPECT_EQ(response.value, hex("020102 020102 020100 02030f4240 020151") + text(kServer2) +
                                  hex("020100 020100"));
    EXPECT_EQ(infoResponse("cn=x,dc=example,dc=com", kEmea).code, 32);
    EXPECT_EQ(infoResponse(kServer2, "ou=groups,dc=example,dc=com").code, 32);
    EXPECT_EQ(infoResponse("nonsense", kEmea).code, 34);
}

TEST_F(ReplicaTest, ListIsASequenceOfServers) {
    const auto list = [&](const char *dn) { return server_.extended(19, text(dn)); };
    EXPECT_EQ(list(kTop).oid, wire::strataOid(20));
    EXPECT_EQ(list(kTop).value, wire::tlv(0x30, text(kServer1) + text(kServer2) + text(kServer3)))
        << "in the order of their numbers";
    EXPECT_EQ(list("ou=groups,dc=example,dc=com").code, 32);
    server_.identity = {};
    EXPECT_EQ(list(kTop).code, 0) << "open to anybody";
    EXPECT_EQ(infoResponse(kServer1, kTop).code, 0);
}

TEST_F(ReplicaTest, AddAndRemove) {
    EXPECT_EQ(add(0, 2, kServer2, kEmea), 68);
    EXPECT_EQ(remove(kServer2, kEmea), 0);
    EXPECT_EQ(remove(kServer2, kEmea), 32);
    EXPECT_EQ(remove(kServer1, kEmea), 53) << "the primary";
    EXPECT_EQ(add(5, 3, kServer2, kEmea), 0);
    const Info added = info(kServer2, kEmea);
    EXPECT_EQ(added.number, "\x04") << "numbers are not given twice";
    EXPECT_EQ(added.type, "\x03");
    EXPECT_EQ(added.state, "\x01") << "new";
    EXPECT_EQ(added.lastSync, zero_);
    EXPECT_EQ(added.flags, "\x05");
    EXPECT_EQ(add(0, 0, kServer2, kEmea), 53);
    EXPECT_EQ(add(0, 4, kServer2, kEmea), 53);
    EXPECT_EQ(add(0, 2, "cn=no,dc=example,dc=com", kEmea), 32);
    EXPECT_EQ(add(0, 2, kServer2, "ou=groups,dc=example,dc=com"), 32);
    EXPECT_EQ(add(0, 2, kServer2, "nonsense"), 34);
    EXPECT_EQ(remove(kServer2, "ou=groups,dc=example,dc=com"), 32);
}

TEST_F(ReplicaTest, ThereIsOnePrimary) {
    EXPECT_EQ(retype(2, kServer1, kEmea), 53) << "another one has to become primary";
    EXPECT_EQ(retype(4, kServer2, kEmea), 53);
    EXPECT_EQ(retype(2, "cn=no,dc=example,dc=com", kEmea), 32);
    EXPECT_EQ(retype(3, kServer2, kEmea), 0);
    EXPECT_EQ(info(kServer2, kEmea).type, "\x03");
    EXPECT_EQ(retype(1, kServer3, kEmea), 0);
    EXPECT_EQ(info(kServer3, kEmea).type, "\x01");
    EXPECT_EQ(info(kServer1, kEmea).type, "\x02");
    EXPECT_EQ(remove(kServer1, kEmea), 0);
    EXPECT_EQ(remove(kServer3, kEmea), 53);
    EXPECT_EQ(info(kServer3, kTop).type, "\x03") << "other partitions keep their types";
}

TEST_F(ReplicaTest, WritesWaitForTheOtherReplicas) {
    touch("ou=people,dc=example,dc=com");
    touch(kEmea);
    touch(kEmea);
    EXPECT_EQ(waiting(kServer1, kTop), zero_) << "it received the write";
    EXPECT_EQ(waiting(kServer2, kTop), "\x01");
    EXPECT_EQ(waiting(kServer3, kTop), "\x01");
    EXPECT_EQ(waiting(kServer2, kEmea), "\x02");
    EXPECT_EQ(server_.code(wire::rename(kAda, "cn=Ada Brandt", false, kEmea)), 0);
    EXPECT_EQ(waiting(kServer2, kTop), "\x02") << "it left this one";
    EXPECT_EQ(waiting(kServer2, kEmea), "\x03") << "for that one";
}

TEST_F(ReplicaTest, UpdatesAreSentAndReceived) {
    touch(kEmea);
    server_.time += 5;
    EXPECT_EQ(server_.extended(21, text(kEmea) + text(kServer2) + text("unusedParam")).code, 0);
    EXPECT_EQ(waiting(kServer2, kEmea), zero_);
    EXPECT_EQ(waiting(kServer3, kEmea), "\x01");
    EXPECT_EQ(info(kServer2, kEmea).lastSync, hex("0f4245"));
    EXPECT_EQ(info(kServer3, kEmea).lastSync, hex("0f4240"));
    EXPECT_EQ(server_.extended(23, text(kEmea) + text("")).code, 0);
    EXPECT_EQ(waiting(kServer3, kEmea), zero_);
    touch(kEmea);
    EXPECT_EQ(server_.extended(23, text(kEmea) + text(kServer3)).code, 0);
    EXPECT_EQ(waiting(kServer3, kEmea), zero_);
    EXPECT_EQ(waiting(kServer2, kEmea), "\x01");
    for (const int request : {21, 23}) {
        const std::string extra = request == 21 ? text("x") : "";
        EXPECT_EQ(server_.extended(request, text(kEmea) + text("cn=no,dc=x") + extra).code, 32);
        EXPECT_EQ(
            server_.extended(request, text("ou=groups,dc=example,dc=com") + text(kServer2) + extra)
                .code,
            32);
        EXPECT_EQ(server_.extended(request, text("nonsense") + text(kServer2) + extra).code, 34);
    }
}

TEST_F(ReplicaTest, SynchronisationEndsTheNewState) {
    EXPECT_EQ(remove(kServer2, kEmea), 0);
    EXPECT_EQ(add(0, 2, kServer2, kEmea), 0);
    const auto sync = [&](const char *server, const char *partition, const std::string &delay) {
        return server_.extended(25, text(server) + text(partition) + delay).code;
    };
    EXPECT_EQ(sync(kServer2, kEmea, number(3)), 0);
    EXPECT_EQ(info(kServer2, kEmea).state, "\x01");
    server_.time += 3;
    EXPECT_EQ(info(kServer2, kEmea).state, zero_);
    EXPECT_EQ(info(kServer2, kEmea).lastSync, hex("0f4243"));
    EXPECT_EQ(sync(kServer2, kEmea, hex("0201ff")), 53) << "a delay of -1";
    EXPECT_EQ(sync("cn=no,dc=x", kEmea, number(0)), 32);
    EXPECT_EQ(sync(kServer2, "dc=no", number(0)), 32);
}

TEST_F(ReplicaTest, APendingSplitShows) {
    EXPECT_EQ(server_.extended(3, number(1) + text("ou=groups,dc=example,dc=com")).code, 0);
    EXPECT_EQ(info(kServer3, kTop).state, "\x02");
    EXPECT_EQ(info(kServer3, kEmea).state, zero_);
}

TEST_F(ReplicaTest, SchemaSync) {
    const auto response = server_.extended(27, text(kServer2) + number(0));
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.oid, wire::strataOid(28));
    EXPECT_EQ(server_.extended(27, text("cn=no,dc=x") + number(0)).code, 32);
    EXPECT_EQ(server_.extended(27, text(kServer2) + hex("0201ff")).code, 53);
}

TEST_F(ReplicaTest, FilterComesBackAsItWasSet) {
    const auto set = [&](const char *server, const std::string &filter) {
        return server_.extended(35, text(server) + wire::tlv(0x30, filter));
    };
    const auto group = [](const char *name, const std::string &attributes) {
        return wire::tlv(0x30, text(name) + wire::tlv(0x30, attributes));
    };
    const auto get = [&](const char *server) { return server_.extended(37, text(server)); };
    EXPECT_EQ(get(kServer1).value, hex("3000")) << "empty until it is set";
    EXPECT_EQ(get(kServer1).oid, wire::strataOid(38));
    const std::string two = group("A", text("x") + text("y")) + group("b C", text("z"));
    EXPECT_EQ(set(kServer1, two).oid, wire::strataOid(36));
    EXPECT_EQ(get(kServer1).value, wire::tlv(0x30, two));
    EXPECT_EQ(get(kServer2).value, hex("3000")) << "each server has its own";
    EXPECT_EQ(set(kServer1, group("A", "")).code, 0);
    EXPECT_EQ(get(kServer1).value, wire::tlv(0x30, group("A", "")));
    EXPECT_EQ(set(kServer1, "").code, 0);
    EXPECT_EQ(get(kServer1).value, hex("3000"));
    EXPECT_EQ(set("cn=no,dc=x", "").code, 32);
    EXPECT_EQ(get("cn=no,dc=x").code, 32);
    EXPECT_EQ(get("nonsense").code, 34);
    for (const std::string &bad :
         {text("A"), wire::tlv(0x30, text("A")), wire::tlv(0x30, text("A") + text("x")),
          wire::tlv(0x30, text("A") + hex("3000") + hex("3000"))})
        EXPECT_EQ(set(kServer1, bad).code, 2);
}

} // namespace
