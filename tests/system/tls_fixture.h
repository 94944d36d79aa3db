#pragma once

#include "system/listener.h"
#include "system/simulator.h"

#include <memory>
#include <string>
#include <thread>

namespace test {

/** The environment of the tool, with the libldap that this test is run with. */
Surroundings withLibldap(std::map<std::string, std::string> more = {});

/** The tool, with the libldap that this test is run with. */
Result runTls(const Arguments &arguments, const std::map<std::string, std::string> &more = {});

/**
 * Files of certificates, made once by openssl: a CA (ca), another one (other), a server (server,
 * for localhost, 127.0.0.1 and this machine's name, which libldap may take localhost for) and a
 * client (client) of the first; each as NAME.pem with NAME.key, and more forms of the client's.
 * `none` holds no certificate, `empty` nothing.
 */
class TlsFiles {
  public:
    static const TlsFiles &get();
    [[nodiscard]] std::string path(const std::string &name) const { return folder_.path(name); }

  private:
    TlsFiles();
    TemporaryFolder folder_;
};

constexpr const char *keyPassword = "the key's own";

/** strata-sim with TLS, by default with a CA and a certificate of its own. */
class TlsSimulator {
  public:
    explicit TlsSimulator(const Arguments &more = {}, const std::string &certificate = "auto");

    [[nodiscard]] const std::string &uri() const { return simulator_.uri(); }
    /** Such as "localhost:40123". */
    [[nodiscard]] std::string at(const std::string &host) const;
    [[nodiscard]] std::string ca() const { return folder_.path("ca.pem"); }
    /** Ada Brandt's certificate, with --tls-client-file. */
    [[nodiscard]] std::string client() const { return folder_.path("client.pem"); }
    /** Runs the tool against it, with more arguments. */
    [[nodiscard]] Result run(const Arguments &arguments) const;

  private:
    [[nodiscard]] Arguments options(const Arguments &more, const std::string &certificate) const;

    TemporaryFolder folder_;
    Simulator simulator_;
};

/** `openssl s_server` with these arguments, on a free port of this machine. */
class OpensslServer {
  public:
    explicit OpensslServer(const Arguments &arguments);
    ~OpensslServer();
    OpensslServer(const OpensslServer &) = delete;
    OpensslServer &operator=(const OpensslServer &) = delete;
    [[nodiscard]] const std::string &port() const { return port_; }

  private:
    TemporaryFolder folder_;
    std::unique_ptr<Process> process_;
    std::string port_;
};

/** A server that sends these bytes after the first ones it gets, and then nothing more. */
class SilentServer {
  public:
    explicit SilentServer(std::string greeting = {});
    ~SilentServer();
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;
    [[nodiscard]] std::string port() const;

  private:
    void serve() const;

    const std::string greeting_;
    Listener listener_;
    std::thread thread_;
};

} // namespace test
