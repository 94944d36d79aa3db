#include "slapd_server.h"

#include "directory.h"
#include "free_port.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

constexpr pid_t noProcess = -1;

std::string freeTcpUri(const char *scheme) {
    std::optional<int> port = freePort("127.0.0.1");
    if (!port)
        throw std::runtime_error("no free port");
    return scheme + ("://127.0.0.1:" + std::to_string(*port));
}

std::vector<std::string> urisOf(SlapdServer::Transport transport, const std::string &socket) {
    using Transport = SlapdServer::Transport;
    const char *scheme = transport == Transport::tls ? "ldaps" : "ldap";
    std::vector<std::string> uris;
    if (transport != Transport::tcp)
        uris.push_back(unixSocketUri(socket));
    if (transport != Transport::unixSocket)
        uris.push_back(freeTcpUri(scheme));
    std::optional<int> port;
    if ((transport == Transport::every || transport == Transport::tls) && (port = freePort("::1")))
        uris.push_back(scheme + ("://[::1]:" + std::to_string(*port)));
    return uris;
}

std::string joined(const std::vector<std::string> &uris) {
    std::string text;
    for (const std::string &uri : uris)
        text += (text.empty() ? "" : " ") + uri;
    return text;
}

} // namespace

const std::vector<std::string> SlapdServer::usualSchemas = {"core", "cosine", "inetorgperson"};

const std::vector<std::string> SlapdServer::allSchemas = {
    "core", "cosine", "inetorgperson", "nis",    "collective",  "corba",    "duaconf",
    "dsee", "java",   "misc",          "msuser", "namedobject", "openldap", "pmi"};

SlapdServer::SlapdServer(Transport transport, const std::string &overlay,
                         const std::vector<std::string> &schemas, const std::string &settings)
    : folder_(makeFolder("slapd")), debugLevel_(transport == Transport::tls ? "stats" : "0"),
      uris_(urisOf(transport, folder_ / "socket")) {
    try {
        writeConfiguration(overlay, schemas, settings);
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
                                     const std::vector<std::string> &schemas,
                                     const std::string &settings) const {
    std::filesystem::create_directory(folder_ / "data");
    std::ofstream file(folder_ / "slapd.conf");
    for (const std::string &schema : schemas)
        file << "include /etc/ldap/schema/" << schema << ".schema\n";
    file << "modulepath /usr/lib/ldap\nmoduleload back_mdb\n";
    if (!overlay.empty())
        file << "moduleload " << overlay << "\n";
    file << settings << "pidfile " << (folder_ / "pid").string() << "\n"
         << "database mdb\nsuffix dc=example,dc=com\ndirectory " << (folder_ / "data").string()
         << "\ndbnosync\nauthz-policy to\nrootdn " << adminDn << "\nrootpw " << adminPassword
         << "\n";
    if (!overlay.empty())
        file << "overlay " << overlay << "\n";
}

void SlapdServer::start() {
    std::string configuration = (folder_ / "slapd.conf").string(), uris = joined(uris_);
    std::string log = (folder_ / "log").string();
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is cut short leaves nothing running
        unsetenv("LD_LIBRARY_PATH");      // the server goes on with the system's libldap
        int null = open("/dev/null", O_RDWR);
        dup2(null, STDOUT_FILENO);
        dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
        // -d keeps it in the foreground, so that it stays this test's own child.
        execl(SLAPD_PATH, "slapd", "-d", debugLevel_, "-f", configuration.c_str(), "-h",
              uris.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
}

void SlapdServer::waitUntilItAnswers() const {
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (answers(uri(), adminDn, adminPassword))
            return;
        if (waitpid(process_, nullptr, WNOHANG) == process_)
            throw std::runtime_error("slapd ended at its start");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("slapd does not answer");
}

LDAP *SlapdServer::session() const {
    return openSession(uri(), adminDn, adminPassword);
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

void SlapdServer::interrupt(int signalNumber) const {
    siginfo_t ignored{};
    kill(process_, signalNumber);
    waitid(P_PID, static_cast<id_t>(process_), &ignored, WEXITED | WSTOPPED | WNOWAIT);
}

void SlapdServer::restart() {
    endProcess();
    start();
    waitUntilItAnswers();
}

std::string SlapdServer::log() const {
    std::ostringstream text;
    text << std::ifstream(folder_ / "log").rdbuf();
    return text.str();
}

void SlapdServer::endProcess() {
    if (process_ > 0) {
        kill(process_, SIGTERM);
        kill(process_, SIGCONT); // it may be stopped
        waitpid(process_, nullptr, 0);
    }
    process_ = noProcess;
}

void SlapdServer::stop() {
    endProcess();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace test
