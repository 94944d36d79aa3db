#include "schema/graphviz.h"

#include "errors.h"
#include "interruption.h"
#include "text.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

// The header of Debian 12 does not say so itself.
extern "C" {
#include <sys/pidfd.h>
}

namespace qldapx {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int patience = 120; // seconds

[[noreturn]] void fail(const std::string &operation, const std::string &reason,
                       const std::string &diagnostic, const std::string &hint) {
    Problem problem;
    problem.operation = operation;
    problem.object = "dot";
    problem.reason = reason;
    problem.diagnostic = diagnostic;
    problem.hint = hint;
    throw Failure(std::move(problem));
}

/** A file in memory: dot may write as it likes, and nobody has to read at the same time. */
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("qldapx", MFD_CLOEXEC)) {
        if (descriptor_ < 0)
            throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    [[nodiscard]] int descriptor() const { return descriptor_; }
    void fill(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR)
                throw std::system_error(errno, std::generic_category(), "a file in memory");
            bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
        }
        lseek(descriptor_, 0, SEEK_SET);
    }
    [[nodiscard]] std::string content() const {
        std::string all;
        std::array<char, 65536> block{};
        lseek(descriptor_, 0, SEEK_SET);
        for (ssize_t got = 0; (got = read(descriptor_, block.data(), block.size())) > 0;)
            all.append(block.data(), static_cast<std::size_t>(got));
        return all;
    }

  private:
    int descriptor_;
};

/** dot, as a child process without a shell; killed when it goes out of sight. */
class Dot {
  public:
    Dot(const std::string &format, const MemoryFile &in, const MemoryFile &out,
        const MemoryFile &err) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in.descriptor(), STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out.descriptor(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, err.descriptor(), STDERR_FILENO);
        std::string program = "dot", option = "-T" + format;
        std::array<char *, 3> arguments = {program.data(), option.data(), nullptr};
        error_ = posix_spawnp(&pid_, program.c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Dot() {
        if (error_ != 0 || ended_)
            return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Dot(const Dot &) = delete;
    Dot &operator=(const Dot &) = delete;

    [[nodiscard]] int error() const { return error_; }
    /** Waits for the end; false when it does not come in time, or the command is to end. */
    bool wait() {
        const int descriptor = pidfd_open(pid_, 0);
        std::array<pollfd, 1> end = {{{descriptor, POLLIN, 0}}};
        const auto until = Clock::now() + std::chrono::seconds(patience);
        while (end[0].revents == 0 && !Interruption::requested() && Clock::now() < until)
            Interruption::wait(end, std::chrono::seconds(1));
        close(descriptor);
        if (end[0].revents == 0 || Interruption::requested())
            return false;
        waitpid(pid_, &status_, 0);
        ended_ = true;
        return true;
    }
    [[nodiscard]] bool succeeded() const { return WIFEXITED(status_) && WEXITSTATUS(status_) == 0; }

  private:
    pid_t pid_ = -1;
    int error_ = 0;
    int status_ = 0;
    bool ended_ = false;
};

} // namespace

std::string renderGraph(const std::string &operation, const std::string &dot,
                        const std::string &format) {
    const Interruption interruption; // which is not to leave dot at work
    const MemoryFile in, out, err;
    in.fill(dot);
    Dot child(format, in, out, err);
    if (child.error() == ENOENT)
        fail(operation, "Graphviz's dot is not there", "",
             "install the package graphviz, or --format dot writes a text to draw elsewhere");
    if (child.error() != 0)
        fail(operation, fmt::format("dot does not start: {}", std::strerror(child.error())), "",
             "--format dot writes a text to draw elsewhere");
    if (!child.wait())
        fail(operation, fmt::format("dot was not ready after {} seconds", patience), "",
             "name fewer classes, or --format dot writes a text to draw elsewhere");
    if (!child.succeeded())
        fail(operation, "dot failed", err.content(), "--format dot writes the text that it had");
    return out.content();
}

} // namespace qldapx
