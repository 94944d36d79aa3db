#include "system/tls_fixture.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace test {
namespace {

constexpr const char *libraryVariable = "LD_LIBRARY_PATH";

// For the tool alone: the servers keep the system's libldap.
const std::string libraryFolder = [] {
    const char *value = std::getenv(libraryVariable);
    std::string folder = value == nullptr ? "" : value;
    unsetenv(libraryVariable);
    return folder;
}();

constexpr const char *makeFiles = R"(set -e
machine=$(hostname)
key() { openssl genpkey -quiet -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1.key"; }
ca() {
    key "$1"
    openssl req -x509 -new -key "$1.key" -subj "/O=Test/CN=$2" -days 30 -out "$1.pem" \
        -addext keyUsage=critical,keyCertSign
}
issue() {
    key "$1"
    openssl req -new -key "$1.key" -subj "/O=Test/CN=$2" -out "$1.csr"
    openssl x509 -req -in "$1.csr" -CA ca.pem -CAkey ca.key -days 20 -out "$1.pem" \
        -extfile <(printf '%s\n' "$3") 2>/dev/null
}
ca ca "Test CA"
ca other "Other CA"
issue server server "subjectAltName=DNS:localhost,IP:127.0.0.1,DNS:$machine"
issue client client "extendedKeyUsage=clientAuth"
cat server.pem server.key >server-both.pem
cat client.pem client.key >both.pem
cat ca.pem client.pem client.key >ca-first.pem
openssl x509 -in ca.pem -outform DER -out ca.der
openssl x509 -in client.pem -outform DER -out client.der
openssl pkey -in client.key -outform DER -out client-key.der
openssl pkey -in client.key -aes256 -passout "pass:$PASSWORD" -out locked.key
cat client.pem locked.key >locked.pem
openssl pkcs12 -export -in client.pem -inkey client.key -certfile ca.pem \
    -passout "pass:$PASSWORD" -out client.p12
openssl pkcs12 -export -in client.pem -inkey client.key -passout pass: -out open.p12
openssl pkcs12 -export -nokeys -in client.pem -passout pass: -out no-key.p12
printf '%s' "$PASSWORD" >password
printf '%s\n' "$PASSWORD" >password-line
printf wrong >wrong
printf 'nothing of interest\n' >none
sed '5s/./!/' ca.pem >damaged.pem
: >empty
mkdir hashed
cp ca.pem hashed/
openssl rehash hashed
chmod 600 password password-line wrong
)";

std::string portOf(const std::string &uri) {
    return uri.substr(uri.rfind(':') + 1);
}

} // namespace

Surroundings withLibldap(std::map<std::string, std::string> more) {
    if (!libraryFolder.empty())
        more[libraryVariable] = libraryFolder;
    return {std::move(more), {}, {}};
}

Result runTls(const Arguments &arguments, const std::map<std::string, std::string> &more) {
    return runTool(arguments, withLibldap(more));
}

const TlsFiles &TlsFiles::get() {
    static const TlsFiles files;
    return files;
}

TlsFiles::TlsFiles() {
    const Result made = runShell(makeFiles, {{{"PASSWORD", keyPassword}}, {}, folder_.path("")});
    if (made.status != 0)
        throw std::runtime_error("openssl makes no certificates: " + made.err);
}

TlsSimulator::TlsSimulator(const Arguments &more, const std::string &certificate)
    : simulator_(options(more, certificate)) {}

Arguments TlsSimulator::options(const Arguments &more, const std::string &certificate) const {
    Arguments all = {"--tls", certificate};
    if (certificate == "auto")
        all.insert(all.end(), {"--tls-ca-file", ca()});
    all.insert(all.end(), more.begin(), more.end());
    for (std::string &each : all)
        if (each == "CLIENT")
            each = client();
    return all;
}

std::string TlsSimulator::at(const std::string &host) const {
    return host + ":" + portOf(uri());
}

Result TlsSimulator::run(const Arguments &arguments) const {
    Arguments all = {"-H", uri()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runTls(all);
}

OpensslServer::OpensslServer(const Arguments &arguments) {
    const std::string output = folder_.write("output", "");
    Arguments all = {"s_server", "-accept", "127.0.0.1:0", "-www"}; // reads no standard input
    all.insert(all.end(), arguments.begin(), arguments.end());
    process_ = std::make_unique<Process>("/usr/bin/openssl", all, Surroundings{{}, output, {}});
    constexpr const char *ready = "ACCEPT 127.0.0.1:";
    const auto accepts = [&] { return readFile(output).find(ready) != std::string::npos; };
    if (!soon(accepts))
        throw std::runtime_error("openssl s_server does not start");
    const std::string text = readFile(output);
    port_ = portOf(text.substr(0, text.find('\n', text.find(ready))));
}

OpensslServer::~OpensslServer() {
    process_->signal(SIGKILL);
    process_->wait();
}

SilentServer::SilentServer(std::string greeting)
    : greeting_(std::move(greeting)), thread_([this] { serve(); }) {}

SilentServer::~SilentServer() {
    listener_.stop();
    thread_.join();
}

std::string SilentServer::port() const {
    return portOf(listener_.uri());
}

// Until each client has gone.
void SilentServer::serve() const {
    for (int client = 0; (client = accept(listener_.fd(), nullptr, nullptr)) >= 0;) {
        std::array<char, 4096> buffer{};
        bool isFirst = true;
        while (read(client, buffer.data(), buffer.size()) > 0) {
            if (isFirst && !greeting_.empty())
                send(client, greeting_.data(), greeting_.size(), MSG_NOSIGNAL);
            isFirst = false;
        }
        close(client);
    }
}

} // namespace test
