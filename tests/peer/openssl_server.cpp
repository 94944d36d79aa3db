#include "openssl_server.h"

#include "free_port.h"
#include "tls_client.h"

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

bool isListening(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool connected =
        connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(probe);
    return connected;
}

} // namespace

OpenSslServer::OpenSslServer(const std::string &certificate, const Arguments &arguments, int port)
    : port_(port != 0 ? port : freePort("127.0.0.1").value()) {
    Arguments all = {"openssl",
                     "s_server",
                     "-quiet",
                     "-accept",
                     "127.0.0.1:" + std::to_string(port_),
                     "-cert",
                     tlsFile(certificate + ".pem"),
                     "-key",
                     tlsFile(certificate + ".key")};
    all.insert(all.end(), arguments.begin(), arguments.end());
    start(all);
    waitUntilItListens();
}

OpenSslServer::~OpenSslServer() {
    static_cast<void>(end());
}

void OpenSslServer::start(const Arguments &arguments) {
    std::vector<char *> list;
    for (const std::string &argument : arguments)
        list.push_back(const_cast<char *>(argument.c_str()));
    list.push_back(nullptr);
    int input[2], output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is cut short leaves nothing running
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        execvp(list[0], list.data());
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = output[0];
}

// The attempt that succeeds is a connection to the server, which ends before its first byte.
void OpenSslServer::waitUntilItListens() {
    bool listens = false;
    static_cast<void>(eventually([&] {
        siginfo_t ended{};
        waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT);
        listens = isListening(port_);
        return listens || ended.si_pid != 0;
    }));
    if (listens)
        return;
    static_cast<void>(end());
    throw std::runtime_error("openssl s_server does not listen");
}

std::string OpenSslServer::uri(const std::string &host) const {
    return "ldaps://" + host + ":" + std::to_string(port_);
}

std::string OpenSslServer::read(std::size_t count) const {
    std::string bytes(count, '\0');
    std::size_t done = 0;
    pollfd ready{output_, POLLIN, 0};
    while (done < count && poll(&ready, 1, 10000) == 1) {
        ssize_t got = ::read(output_, bytes.data() + done, count - done);
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    bytes.resize(done);
    return bytes;
}

void OpenSslServer::write(const std::string &bytes) const {
    if (::write(input_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("openssl s_server takes nothing");
}

std::string OpenSslServer::end() {
    if (process_ <= 0)
        return "";
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
    process_ = -1;
    std::string rest = read(65536); // up to the end that the server's has made
    close(input_);
    close(output_);
    return rest;
}

} // namespace test
