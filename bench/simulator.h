// simulator.h - a strata-sim process to measure with.
#pragma once

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ldap.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace bench {

class Simulator {
  public:
    // On a port of its own, with these options beside.
    explicit Simulator(const std::vector<std::string> &options = {}) {
        std::string name =
            (std::filesystem::temp_directory_path() / "strata-bench-XXXXXX").string();
        folder_ = mkdtemp(name.data());
        std::string ready = (folder_ / "uri").string();
        process_ = fork();
        if (process_ == 0) {
            if (std::freopen("/dev/null", "w", stdout) == nullptr)
                _exit(126);
            std::vector<std::string> command{"strata-sim", "--listen", "127.0.0.1:0",
                                             "--ready-file", ready};
            command.insert(command.end(), options.begin(), options.end());
            std::vector<char *> arguments;
            for (std::string &argument : command)
                arguments.push_back(argument.data());
            arguments.push_back(nullptr);
            execv(STRATA_SIM_PATH, arguments.data());
            _exit(127);
        }
        while (uri_.empty() && waitpid(process_, nullptr, WNOHANG) == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            std::ifstream(ready) >> uri_;
        }
    }
    ~Simulator() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        std::filesystem::remove_all(folder_);
    }
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    [[nodiscard]] const std::string &uri() const { return uri_; }

    [[nodiscard]] pid_t process() const { return process_; }

    [[nodiscard]] long residentKib() const {
        std::ifstream status("/proc/" + std::to_string(process_) + "/status");
        for (std::string line; std::getline(status, line);)
            if (line.starts_with("VmRSS:"))
                return std::atol(line.c_str() + sizeof "VmRSS:");
        return -1;
    }

  private:
    std::filesystem::path folder_;
    std::string uri_;
    pid_t process_ = -1;
};

inline LDAP *openSession(const std::string &uri) {
    LDAP *ld = nullptr;
    int version = LDAP_VERSION3;
    if (ldap_initialize(&ld, uri.c_str()) != LDAP_SUCCESS)
        std::abort();
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    return ld;
}

} // namespace bench
