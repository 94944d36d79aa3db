#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

struct CommandResult {
    int code;           // of the exit, or -1 after a signal
    std::string output; // standard output and standard error
};

/** Runs a program of the search path to its end. */
CommandResult runCommand(const std::vector<std::string> &arguments, const std::string &input = {});

/** A running strata-sim at a free port of its own; what it logs may go to a file. */
class SimProgram {
  public:
    explicit SimProgram(const std::vector<std::string> &arguments = {},
                        const std::string &log = {});
    ~SimProgram();
    SimProgram(const SimProgram &) = delete;
    SimProgram &operator=(const SimProgram &) = delete;

    const std::string &uri() const { return uri_; }
    int port() const { return port_; }
    pid_t pid() const { return pid_; }
    /** Sends the signal and gives the exit code. */
    int stop(int signal);
    long residentKilobytes() const;

  private:
    pid_t pid_ = -1;
    int port_ = 0;
    std::string uri_;
};

/** A client's socket. */
class RawClient {
  public:
    explicit RawClient(int port);
    ~RawClient();
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    void send(const std::string &bytes);
    /**
     * Sends the request again and again; true when the other side takes no more of it, false
     * when it has taken `most` bytes.
     */
    bool fill(const std::string &request, std::size_t most);
    void finishSending();
    /** Reads until the other side closes, or is silent for that long. */
    std::string readAll(std::chrono::milliseconds most = std::chrono::seconds(20));
    /** Reads `count` whole messages, or what there is when the other side closes or time is up. */
    std::string readMessages(std::size_t count);
    /** After reading: whether the other side has closed. */
    bool closed() const { return closed_; }

  private:
    bool readMore(std::string &into, std::chrono::milliseconds most);

    int socket_;
    std::string surplus_; // what has come behind the last message that was read
    bool closed_ = false;
};
