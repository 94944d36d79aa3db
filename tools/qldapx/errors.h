#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace qldapx {

constexpr int exitDone = 0;
constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

/** What went wrong, for people and for programs. Texts that do not apply are empty. */
struct Problem {
    std::string operation; // the command, such as "partition split", or "connect" or "bind"
    std::string object;    // what it was to work on
    std::optional<int> code;
    std::string name;       // of the code
    std::string reason;     // in words, where the name says too little
    std::string diagnostic; // the server's or libldap's own words
    std::string matchedDn;
    std::string hint; // what to try
};

/** The server or the library refused. */
class Failure : public std::runtime_error {
  public:
    explicit Failure(Problem problem);
    [[nodiscard]] const Problem &problem() const { return problem_; }

  private:
    Problem problem_;
};

/** The command line, or a file it names, cannot be used as it stands. Nothing was sent. */
class UsageError : public std::runtime_error {
  public:
    explicit UsageError(const std::string &message, std::string hint = "qldapx --help")
        : std::runtime_error(message), hint_(std::move(hint)) {}
    [[nodiscard]] const std::string &hint() const { return hint_; }

  private:
    std::string hint_; // what to try
};

/** The result could not be written. */
class OutputError : public std::runtime_error {
  public:
    explicit OutputError(int error);
    [[nodiscard]] int error() const { return error_; }

  private:
    int error_;
};

/** Says it on standard error, as text or as one line of JSON. */
void report(const Problem &problem, bool json);
void report(const UsageError &error, bool json);
void warn(const std::string &message, bool json);

/** What a program gets for a problem: one line of JSON. */
std::string problemLine(const Problem &problem);

} // namespace qldapx
