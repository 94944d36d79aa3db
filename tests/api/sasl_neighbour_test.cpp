// libldap's own bind by DIGEST-MD5 in a process where everybody finds this library's names first.
#include "peer/directory.h"
#include "peer/slapd_server.h"

#include <array>
#include <cstdio>
#include <gtest/gtest.h>

namespace {

constexpr char mapping[] =
    "sasl-host localhost\nsasl-realm example.com\n"
    "authz-regexp \"uid=(.*),cn=[^,]*,cn=digest-md5,cn=auth\" \"cn=$1,dc=example,dc=com\"\n";
constexpr char user[] = "ada", password[] = "peer-secret";

struct Order {
    const char *name;
    const char *command; // the program, and behind the account the libraries that it loads
    const char *libraries;
};

const Order orders[] = {
    {"LinkedFirst", LINKED_FIRST, ""},
    {"LinkedLast", LINKED_LAST, ""},
    {"LoadedFirst", LINKED_WITHOUT, QLDAPX_PATH " " LIBLDAP_PATH},
    {"LoadedLast", LINKED_WITHOUT, LIBLDAP_PATH " " QLDAPX_PATH},
};

void PrintTo(const Order &order, std::ostream *out) {
    *out << order.name;
}

class SaslNeighbour : public testing::TestWithParam<Order> {
  protected:
    void SetUp() override {
        LDAP *admin = server_.session();
        test::mustAdd(admin, "cn=ada,dc=example,dc=com",
                      {{"objectClass", {"inetOrgPerson"}},
                       {"cn", {user}},
                       {"sn", {"Tester"}},
                       {"userPassword", {password}}});
        ldap_unbind_ext_s(admin, nullptr, nullptr);
    }

    // What the program prints.
    std::string run(const char *secret) {
        const std::string command = std::string(GetParam().command) + " '" + server_.uri() + "' " +
                                    user + " " + secret + " " + GetParam().libraries;
        FILE *pipe = popen(command.c_str(), "r");
        std::string text;
        std::array<char, 256> buffer;
        while (pipe != nullptr && fgets(buffer.data(), buffer.size(), pipe) != nullptr)
            text += buffer.data();
        EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command;
        return text;
    }

  private:
    test::SlapdServer server_{test::SlapdServer::Transport::unixSocket, "",
                              test::SlapdServer::usualSchemas, mapping};
};

TEST_P(SaslNeighbour, BothBind) {
    EXPECT_EQ(run(password), "libldap 0\nlibqldapx 0\nlibldap 0\nlibqldapx 0\n");
}

TEST_P(SaslNeighbour, BothAreRefused) {
    EXPECT_EQ(run("wrong"), "libldap 49\nlibqldapx 49\nlibldap 49\nlibqldapx 49\n");
}

INSTANTIATE_TEST_SUITE_P(Orders, SaslNeighbour, testing::ValuesIn(orders),
                         [](const auto &order) { return std::string(order.param.name); });

} // namespace
