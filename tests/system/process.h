#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

namespace test {

using Json = nlohmann::json;
using Arguments = std::vector<std::string>;

/** How a process ended; a signal counts as a shell counts it, 128 and its number. */
struct Result {
    int status = -1;
    long peakKiB = 0; // of memory
    std::string out;
    std::string err;

    /** Standard output as JSON, or a failure of the test. */
    [[nodiscard]] Json json() const;
    /** The one line of JSON on standard error: what stands under "error". */
    [[nodiscard]] Json error() const;
};

/** What a process gets besides its arguments. */
struct Surroundings {
    std::map<std::string, std::string> environment; // on top of a bare one
    std::string outputFile;                         // in place of a pipe
    std::string directory;
};

/** A program under test: started, and waited for at most so long. */
class Process {
  public:
    Process(const std::string &program, const Arguments &arguments,
            const Surroundings &surroundings = {});
    ~Process();
    Process(Process &&other) noexcept;
    Process &operator=(Process &&) = delete;
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    void signal(int number) const;
    /** Stops reading what it writes to standard output. */
    void closeOutput();
    /** Waits for the end, killing it after a time that no test needs: then the status is -1. */
    Result wait();

  private:
    pid_t pid_;
    int out_;
    int err_;
};

/**
 * argv and environment for an exec; nothing of the test's own but PATH. Made before the process
 * forks: another thread may hold the allocator's lock then, and the child would wait for ever.
 */
class Command {
  public:
    Command(const std::string &program, const Arguments &arguments,
            const Surroundings &surroundings);

    [[noreturn]] void execute() const;

  private:
    Arguments arguments_;
    std::vector<std::string> variables_;
    std::string directory_;
    std::vector<char *> argumentPointers_, variablePointers_;
};

/**
 * What a sanitizer has to be told for this command: the library loses, as its contract says, the
 * parts of a reference that its caller does not get, and what a bind by DIGEST-MD5 has made when
 * its last answer does not come. That is no leak of the tool's.
 */
std::map<std::string, std::string> leakRules(const Arguments &command);

Result runTool(const Arguments &arguments, const Surroundings &surroundings = {});
Result runShell(const std::string &script, const Surroundings &surroundings = {});

/** A folder that goes with its test. */
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    [[nodiscard]] std::string path(const std::string &name) const { return folder_ + "/" + name; }
    /** The names of all files in it, hidden ones as well, in order. */
    [[nodiscard]] std::vector<std::string> names() const;
    /** Writes a file that only its owner can read, unless `mode` says more. */
    [[nodiscard]] std::string write(const std::string &name, const std::string &content,
                                    unsigned mode = 0600) const;

  private:
    std::string folder_;
};

std::string readFile(const std::string &path);

/** True as soon as the condition holds, false when it never does. */
template <typename Condition>
bool soon(const Condition &condition) {
    constexpr int attempts = 3000;
    for (int i = 0; i < attempts; ++i) {
        if (condition())
            return true;
        usleep(10000);
    }
    return false;
}

} // namespace test
