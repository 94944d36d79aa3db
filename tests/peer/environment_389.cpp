#include "environment_389.h"

#include "directory.h"

#include <algorithm>

namespace test {
namespace {

std::unique_ptr<DirectoryServer389> runningServer;

class Server389Environment : public testing::Environment {
  public:
    void SetUp() override {
        try {
            runningServer = std::make_unique<DirectoryServer389>();
        } catch (const std::runtime_error &error) {
            FAIL() << error.what();
        }
    }
    void TearDown() override { runningServer.reset(); }
};

const testing::Environment *const environment =
    testing::AddGlobalTestEnvironment(new Server389Environment);

std::string nameOfTest() {
    const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "-" + test->name();
    std::replace(name.begin(), name.end(), '/', '-');
    return name;
}

} // namespace

const DirectoryServer389 &With389::server() {
    return *runningServer;
}

void With389::SetUp() {
    ld = server().session();
    writer = server().session();
    std::string name = nameOfTest();
    base = "ou=" + name + "," + DirectoryServer389::suffix;
    ASSERT_EQ(addEntry(writer, base, {{"objectClass", {"organizationalUnit"}}, {"ou", {name}}}),
              LDAP_SUCCESS);
}

void With389::TearDown() {
    for (LDAP *session : {ld, writer})
        if (session != nullptr)
            ldap_unbind_ext_s(session, nullptr, nullptr);
}

} // namespace test
