// acknowledging.h - an acknowledger process, on a processor of its own.
#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

inline void runOn(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    if (sched_setaffinity(0, sizeof set, &set) != 0) {
        std::perror("this needs two processors");
        std::exit(1);
    }
}

class Acknowledger {
  public:
    // Each answer comes so many microseconds after its request.
    explicit Acknowledger(long delay) {
        int ends[2];
        if (pipe(ends) != 0)
            std::abort();
        process_ = fork();
        if (process_ == 0) {
            runOn(1);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            execl(ACKNOWLEDGER_PATH, "acknowledger", std::to_string(delay).c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        char port[16]{};
        if (read(ends[0], port, sizeof port - 1) > 0)
            uri_ = "ldap://127.0.0.1:" + std::to_string(std::atoi(port));
        close(ends[0]);
    }
    ~Acknowledger() {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    Acknowledger(const Acknowledger &) = delete;
    Acknowledger &operator=(const Acknowledger &) = delete;

    [[nodiscard]] const std::string &uri() const { return uri_; }

  private:
    std::string uri_;
    pid_t process_ = -1;
};

} // namespace bench
