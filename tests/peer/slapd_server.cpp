#include "slapd_server.h"

#include "directory.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

constexpr pid_t noProcess = -1;

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

} // namespace

const std::vector<std::string> SlapdServer::allSchemas = {
    "core", "cosine", "inetorgperson", "nis",    "collective",  "corba",    "duaconf",
    "dsee", "java",   "misc",          "msuser", "namedobject", "openldap", "pmi"};

SlapdServer::SlapdServer(Transport transport, const std::string &overlay,
                         const std::vector<std::string> &schemas)
    : folder_(makeFolder("slapd")),
      uri_(transport == Transport::tcp ? freeTcpUri() : unixSocketUri(folder_ / "socket")) {
    try {
        writeConfiguration(overlay, schemas);
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

void SlapdServer::writeConfiguration(const std::string &overlay,
                                     const std::vector<std::string> &schemas) const {
    std::filesystem::create_directory(folder_ / "data");
    std::ofstream file(folder_ / "slapd.conf");
    for (const std::string &schema : schemas)
        file << "include /etc/ldap/schema/" << schema << ".schema\n";
    file << "modulepath /usr/lib/ldap\nmoduleload back_mdb\n";
    if (!overlay.empty())
        file << "moduleload " << overlay << "\n";
    file << "pidfile " << (folder_ / "pid").string() << "\n"
         << "database mdb\nsuffix dc=example,dc=com\ndirectory " << (folder_ / "data").string()
         << "\ndbnosync\nauthz-policy to\nrootdn " << adminDn << "\nrootpw " << adminPassword
         << "\n";
    if (!overlay.empty())
        file << "overlay " << overlay << "\n";
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
        if (answers(uri_, adminDn, adminPassword))
            return;
        if (waitpid(process_, nullptr, WNOHANG) == process_)
            throw std::runtime_error("slapd ended at its start");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("slapd does not answer");
}

LDAP *SlapdServer::session() const {
    return openSession(uri_, adminDn, adminPassword);
}

void SlapdServer::addTree() const {
    LDAP *ld = session();
    mustAdd(
        ld, "dc=example,dc=com",
        {{"objectClass", {"dcObject", "organization"}}, {"dc", {"example"}}, {"o", {"Example"}}});
    mustAdd(ld, "ou=people,dc=example,dc=com",
            {{"objectClass", {"organizationalUnit"}}, {"ou", {"people"}}});
    for (const char *name : {"Ada", "Ben", "Cleo"})
        mustAdd(ld, std::string("cn=") + name + ",ou=people,dc=example,dc=com",
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
