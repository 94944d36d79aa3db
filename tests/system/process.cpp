#include "system/process.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds patience{60};

struct Pipe {
    int read = -1;
    int write = -1;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    return {ends[0], ends[1]};
}

/** Reads what there is; false at the end. */
bool drain(int descriptor, std::string &text) {
    std::array<char, 65536> buffer{};
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    text.append(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

void drainBoth(int out, int err, Result &result, Clock::time_point deadline) {
    std::array<pollfd, 2> ends = {{{out, POLLIN, 0}, {err, POLLIN, 0}}};
    while ((ends[0].fd >= 0 || ends[1].fd >= 0) && Clock::now() < deadline) {
        poll(ends.data(), ends.size(), 100);
        if (ends[0].revents != 0 && !drain(out, result.out))
            ends[0].fd = -1;
        if (ends[1].revents != 0 && !drain(err, result.err))
            ends[1].fd = -1;
    }
}

int shellStatus(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int waitFor(pid_t pid, Clock::time_point deadline, long &peakKiB) {
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, WNOHANG, &usage) == 0) {
        if (Clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        usleep(1000);
    }
    peakKiB = usage.ru_maxrss;
    return shellStatus(status);
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> result;
    for (std::string &text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

Json parsed(const std::string &text) {
    Json json = Json::parse(text, nullptr, false);
    EXPECT_FALSE(json.is_discarded()) << "no JSON: " << text;
    return json;
}

} // namespace

Json Result::json() const {
    return parsed(out);
}

Json Result::error() const {
    EXPECT_EQ(err.find('\n'), err.size() - 1) << "not one line: " << err;
    const Json json = parsed(err);
    if (json.is_object() && json.contains("error"))
        return json["error"];
    ADD_FAILURE() << "no error: " << err;
    return Json::object();
}

Command::Command(const std::string &program, const Arguments &arguments,
                 const Surroundings &surroundings)
    : arguments_({program}), directory_(surroundings.directory) {
    arguments_.insert(arguments_.end(), arguments.begin(), arguments.end());
    // The machine's and the user's own ldap.conf stay out.
    std::map<std::string, std::string> environment = {
        {"PATH", std::getenv("PATH")}, {"HOME", "/nonexistent"}, {"LDAPCONF", "/dev/null"}};
    for (const auto &[name, value] : surroundings.environment)
        environment[name] = value;
    for (const auto &[name, value] : environment)
        variables_.push_back(name + "=" + value);
    argumentPointers_ = pointers(arguments_);
    variablePointers_ = pointers(variables_);
}

// What started this process may have it ignore signals (nohup, a shell's "&"), which is inherited.
void Command::execute() const {
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    if (directory_.empty() || chdir(directory_.c_str()) == 0)
        execve(argumentPointers_[0], argumentPointers_.data(), variablePointers_.data());
    _exit(127);
}

Process::Process(const std::string &program, const Arguments &arguments,
                 const Surroundings &surroundings) {
    const Command command(program, arguments, surroundings);
    const Pipe out = makePipe(), err = makePipe();
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is cut short leaves nothing running
        const bool toFile = !surroundings.outputFile.empty();
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(toFile ? open(surroundings.outputFile.c_str(), O_WRONLY) : out.write, STDOUT_FILENO);
        dup2(err.write, STDERR_FILENO);
        command.execute();
    }
    close(out.write);
    close(err.write);
    out_ = out.read;
    err_ = err.read;
}

Process::Process(Process &&other) noexcept : pid_(other.pid_), out_(other.out_), err_(other.err_) {
    other.pid_ = other.out_ = other.err_ = -1;
}

Process::~Process() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeOutput();
    if (err_ >= 0)
        close(err_);
}

void Process::signal(int number) const {
    kill(pid_, number);
}

void Process::closeOutput() {
    if (out_ >= 0)
        close(out_);
    out_ = -1;
}

Result Process::wait() {
    Result result;
    const auto deadline = Clock::now() + patience;
    drainBoth(out_, err_, result, deadline);
    result.status = waitFor(pid_, deadline, result.peakKiB);
    pid_ = -1;
    return result;
}

std::map<std::string, std::string> leakRules(const Arguments &command) {
    const std::initializer_list<std::string> losing = {"reference", "DIGEST-MD5"};
    if (std::find_first_of(command.begin(), command.end(), losing.begin(), losing.end()) ==
        command.end())
        return {};
    return {{"ASAN_OPTIONS", "detect_leaks=0"}};
}

Result runTool(const Arguments &arguments, const Surroundings &surroundings) {
    return Process(QLDAPX_PATH, arguments, surroundings).wait();
}

Result runShell(const std::string &script, const Surroundings &surroundings) {
    return Process("/bin/bash", {"--norc", "--noprofile", "-c", script}, surroundings).wait();
}

TemporaryFolder::TemporaryFolder()
    : folder_((std::filesystem::temp_directory_path() / "qldapx-system-XXXXXX").string()) {
    if (mkdtemp(folder_.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder");
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::vector<std::string> TemporaryFolder::names() const {
    std::vector<std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator(folder_))
        all.push_back(entry.path().filename());
    std::sort(all.begin(), all.end());
    return all;
}

std::string TemporaryFolder::write(const std::string &name, const std::string &content,
                                   unsigned mode) const {
    std::ofstream(path(name)) << content;
    chmod(path(name).c_str(), mode);
    return path(name);
}

std::string readFile(const std::string &path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace test
