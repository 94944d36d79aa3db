// signal_cases.h - the long commands that get signals, and the servers that they meet.
#pragma once

#include "system/listener.h"
#include "system/supervised.h"
#include "system/sweep.h"
#include "system/sweep_commands.h"

#include <span>
#include <thread>
#include <vector>

namespace test {

inline constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";

/** Which server a case has to do with. */
enum class Server { Simulator, WithTls, WithRealms, Silent, Unreachable };

/** A long command, at each of whose calls it gets a signal; @ names a file. */
struct SignalCase {
    const char *name;
    Arguments arguments;
    Server server = Server::Simulator;
    Setting::Stream output = Setting::Stream::Pipe;
    bool writes = false; // the file that the arguments name
};

std::span<const SignalCase> signalCases();

/** Takes connections, and says nothing on them. */
class SilentServer {
  public:
    SilentServer() : thread_([this] { serve(); }) {}
    ~SilentServer() {
        listener_.stop();
        thread_.join();
    }
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;
    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }

  private:
    // Only the last one's client is still there.
    void serve() const {
        int last = -1, next = -1;
        while ((next = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
            if (last >= 0)
                close(last);
            last = next;
        }
        close(last);
    }

    const Listener listener_;
    std::thread thread_;
};

/** What the commands meet: a server of each sort. */
class Servers {
  public:
    explicit Servers(const std::string &tool)
        : plain(tool, {"--backup-piece", "100"}),
          withTls_(tool, {"--tls", "auto", "--tls-ca-file", plain.path("ca.pem")}),
          withRealms_(tool, {"--fault", "digest-md5-challenge=realms:3"}) {
        fill();
    }
    ~Servers() {
        for (const int each : waiting_)
            close(each);
    }
    Servers(const Servers &) = delete;
    Servers &operator=(const Servers &) = delete;

    [[nodiscard]] std::string uri(const SignalCase &which) const;

    const Workplace plain;

  private:
    void fill();

    const Workplace withTls_, withRealms_;
    const SilentServer silent_;
    const Listener unreachable_;
    std::vector<int> waiting_;
};

} // namespace test
