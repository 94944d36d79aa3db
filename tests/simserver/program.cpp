#include "program.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

using namespace std::chrono_literals;

int waitFor(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

[[noreturn]] void execute(const std::vector<std::string> &arguments) {
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

std::string temporaryName() {
    static int count = 0;
    return std::string(TEST_DIR) + "/ready-" + std::to_string(getpid()) + "-" +
           std::to_string(++count);
}

/** Bytes of the first message if all of them are there, or 0. */
std::size_t wholeMessage(const std::string &data, std::size_t from) {
    if (data.size() < from + 2)
        return 0;
    std::size_t length = static_cast<unsigned char>(data[from + 1]);
    std::size_t header = 2;
    if (length >= 0x80) {
        header += length - 0x80;
        length = 0;
        for (std::size_t i = 2; i < header && from + i < data.size(); ++i)
            length = length * 256 + static_cast<unsigned char>(data[from + i]);
    }
    return data.size() >= from + header + length ? header + length : 0;
}

} // namespace

CommandResult runCommand(const std::vector<std::string> &arguments, const std::string &input) {
    int in[2];
    int out[2];
    if (pipe(in) != 0 || pipe(out) != 0)
        return {-1, "no pipe"};
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(out[1], 2);
        for (const int fd : {in[0], in[1], out[0], out[1]})
            close(fd);
        execute(arguments);
    }
    close(in[0]);
    close(out[1]);
    EXPECT_EQ(write(in[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
    close(in[1]);
    CommandResult result{0, {}};
    char buffer[4096];
    for (ssize_t size; (size = read(out[0], buffer, sizeof buffer)) > 0;)
        result.output.append(buffer, static_cast<std::size_t>(size));
    close(out[0]);
    result.code = waitFor(pid);
    return result;
}

SimProgram::SimProgram(const std::vector<std::string> &arguments, const std::string &log) {
    const std::string ready = temporaryName();
    std::vector<std::string> all = {STRATA_SIM, "--listen", "127.0.0.1:0", "--ready-file", ready};
    all.insert(all.end(), arguments.begin(), arguments.end());
    // Under the address sanitizer, freed memory must not pass for a leak of the server.
    const char *options = getenv("ASAN_OPTIONS");
    const std::string asanOptions =
        (options != nullptr ? std::string(options) + ":" : "") + "quarantine_size_mb=1";
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is cut short leaves nothing running
        setenv("ASAN_OPTIONS", asanOptions.c_str(), 1);
        if (freopen("/dev/null", "w", stdout) == nullptr)
            _exit(126);
        if (!log.empty() && freopen(log.c_str(), "w", stderr) == nullptr)
            _exit(126);
        execute(all);
    }
    for (int tries = 0; tries < 3000 && uri_.empty(); ++tries) {
        std::this_thread::sleep_for(20ms);
        std::ifstream(ready) >> uri_;
    }
    std::remove(ready.c_str());
    EXPECT_FALSE(uri_.empty()) << "the server did not start";
    if (!uri_.empty())
        port_ = std::stoi(uri_.substr(uri_.rfind(':') + 1));
}

SimProgram::~SimProgram() {
    if (pid_ > 0) {
        EXPECT_EQ(stop(SIGTERM), 0) << "the server ended badly";
    }
}

int SimProgram::stop(int signal) {
    kill(pid_, signal);
    return waitFor(std::exchange(pid_, -1));
}

long SimProgram::residentKilobytes() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::stol(line.substr(6));
    return -1;
}

RawClient::RawClient(int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
}

RawClient::~RawClient() {
    close(socket_);
}

void RawClient::send(const std::string &bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t size =
            ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (size <= 0)
            return; // the other side has closed: what it said is still to be read
        sent += static_cast<std::size_t>(size);
    }
}

bool RawClient::fill(const std::string &request, std::size_t most) {
    for (std::size_t sent = 0; sent < most;) {
        pollfd waiting{socket_, POLLOUT, 0};
        if (poll(&waiting, 1, 700) <= 0)
            return true;
        const std::string_view rest = std::string_view(request).substr(sent % request.size());
        const ssize_t size = ::send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        EXPECT_GT(size, 0) << "the other side has closed";
        if (size <= 0)
            return false;
        sent += static_cast<std::size_t>(size);
    }
    return false;
}

void RawClient::finishSending() {
    shutdown(socket_, SHUT_WR);
}

bool RawClient::readMore(std::string &into, std::chrono::milliseconds most) {
    pollfd waiting{socket_, POLLIN, 0};
    if (closed_ || poll(&waiting, 1, static_cast<int>(most.count())) <= 0)
        return false;
    char buffer[65536];
    const ssize_t size = recv(socket_, buffer, sizeof buffer, 0);
    closed_ = size <= 0;
    if (!closed_)
        into.append(buffer, static_cast<std::size_t>(size));
    return !closed_;
}

std::string RawClient::readAll(std::chrono::milliseconds most) {
    std::string data = std::exchange(surplus_, {});
    while (readMore(data, most))
        continue;
    return data;
}

std::string RawClient::readMessages(std::size_t count) {
    std::string data = std::exchange(surplus_, {});
    std::size_t end = 0;
    while (count > 0) {
        if (const std::size_t length = wholeMessage(data, end)) {
            end += length;
            --count;
        } else if (!readMore(data, 20s)) {
            return data;
        }
    }
    surplus_ = data.substr(end);
    data.resize(end);
    return data;
}
