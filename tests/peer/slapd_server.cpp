#include "slapd_server.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace test {
namespace {

constexpr pid_t noProcess = -1;

std::filesystem::path makeFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "qldapx-slapd-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder");
    return name;
}

std::string unixSocketUri(const std::filesystem::path &folder) {
    std::string escaped;
    for (char c : (folder / "socket").string())
        escaped += c == '/' ? std::string("%2F") : std::string(1, c);
    return "ldapi://" + escaped;
}

// A port that the system has just given and taken back.
std::string freeTcpUri() {
    int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    bool found = bind(probe, generic, size) == 0 && getsockname(probe, generic, &size) == 0;
    close(probe);
    if (!found)
        throw std::runtime_error("no free port");
    return "ldap://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

int simpleBind(LDAP *ld) {
    std::string password = SlapdServer::adminPassword;
    berval credentials{password.size(), password.data()};
    return ldap_sasl_bind_s(ld, SlapdServer::adminDn, LDAP_SASL_SIMPLE, &credentials, nullptr,
                            nullptr, nullptr);
}

using Attributes = std::vector<std::pair<std::string, std::vector<std::string>>>;

void add(LDAP *ld, const std::string &dn, Attributes attributes) {
    std::vector<std::vector<char *>> values;
    std::vector<LDAPMod> mods(attributes.size());
    std::vector<LDAPMod *> list;
    values.reserve(attributes.size());
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        std::vector<char *> pointers;
        for (std::string &value : attributes[i].second)
            pointers.push_back(value.data());
        pointers.push_back(nullptr);
        values.push_back(std::move(pointers));
        mods[i].mod_op = LDAP_MOD_ADD;
        mods[i].mod_type = attributes[i].first.data();
        mods[i].mod_values = values[i].data();
        list.push_back(&mods[i]);
    }
    list.push_back(nullptr);
    if (ldap_add_ext_s(ld, dn.c_str(), list.data(), nullptr, nullptr) != LDAP_SUCCESS)
        throw std::runtime_error("slapd refused " + dn);
}

} // namespace

SlapdServer::SlapdServer(Transport transport)
    : folder_(makeFolder()),
      uri_(transport == Transport::tcp ? freeTcpUri() : unixSocketUri(folder_)) {
    try {
        writeConfiguration();
        start();
        waitUntilItAnswers();
        addTree();
    } catch (...) {
        stop();
        throw;
    }
}

SlapdServer::~SlapdServer() {
    stop();
}

void SlapdServer::writeConfiguration() const {
    std::filesystem::create_directory(folder_ / "data");
    std::ofstream(folder_ / "slapd.conf")
        << "include /etc/ldap/schema/core.schema\n"
        << "include /etc/ldap/schema/cosine.schema\n"
        << "include /etc/ldap/schema/inetorgperson.schema\n"
        << "modulepath /usr/lib/ldap\nmoduleload back_mdb\n"
        << "pidfile " << (folder_ / "pid").string() << "\n"
        << "database mdb\nsuffix dc=example,dc=com\ndirectory " << (folder_ / "data").string()
        << "\nrootdn " << adminDn << "\nrootpw " << adminPassword << "\n";
}

void SlapdServer::start() {
    std::string configuration = (folder_ / "slapd.conf").string();
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is cut short leaves nothing running
        int null = open("/dev/null", O_RDWR);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        // -d keeps it in the foreground, so that it stays this test's own child.
        execl(SLAPD_PATH, "slapd", "-d", "0", "-f", configuration.c_str(), "-h", uri_.c_str(),
              static_cast<char *>(nullptr));
        _exit(127);
    }
}

void SlapdServer::waitUntilItAnswers() const {
    for (int attempt = 0; attempt < 200; ++attempt) {
        LDAP *ld = nullptr;
        int version = LDAP_VERSION3;
        int result = ldap_initialize(&ld, uri_.c_str());
        if (result == LDAP_SUCCESS) {
            ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
            result = simpleBind(ld);
            ldap_unbind_ext_s(ld, nullptr, nullptr);
        }
        if (result == LDAP_SUCCESS)
            return;
        if (waitpid(process_, nullptr, WNOHANG) == process_)
            throw std::runtime_error("slapd ended at its start");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("slapd does not answer");
}

LDAP *SlapdServer::session() const {
    LDAP *ld = nullptr;
    int version = LDAP_VERSION3;
    timeval patience{10, 0};
    if (ldap_initialize(&ld, uri_.c_str()) != LDAP_SUCCESS)
        throw std::runtime_error("no session");
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
    if (simpleBind(ld) == LDAP_SUCCESS)
        return ld;
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    throw std::runtime_error("slapd refused the administrator");
}

void SlapdServer::addTree() const {
    LDAP *ld = session();
    add(ld, "dc=example,dc=com",
        {{"objectClass", {"dcObject", "organization"}}, {"dc", {"example"}}, {"o", {"Example"}}});
    add(ld, "ou=people,dc=example,dc=com",
        {{"objectClass", {"organizationalUnit"}}, {"ou", {"people"}}});
    for (const char *name : {"Ada", "Ben", "Cleo"})
        add(ld, std::string("cn=") + name + ",ou=people,dc=example,dc=com",
            {{"objectClass", {"inetOrgPerson"}},
             {"cn", {name}},
             {"sn", {"Tester"}},
             {"mail", {std::string(name) + "@example.com"}}});
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

void SlapdServer::stop() {
    if (process_ > 0) {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    process_ = noProcess;
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace test
