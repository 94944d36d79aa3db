#include "memory/runner.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx/digest_challenge.h>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qldapx_test::memory {
namespace {

constexpr unsigned patience = 60; // seconds, after which a trial hangs
constexpr long farTooMany = 1000000;

using failing_memory::Shortage;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

void tell(int out, char about, long number) {
    dprintf(out, "%c - %ld\n", about, number);
}

// Not the row's first run: what is allocated once for the process is there.
void warmUp(const Row &row) {
    const File nowhere(std::fopen("/dev/null", "w"), std::fclose);
    Trial trial(Trial::never, Shortage::once, fileno(nowhere.get()));
    row.run(trial);
}

// A row's trials of one kind.
struct Course {
    const Row &row;
    Depth depth;
    Shortage shortage;

    static constexpr long first = 100;

    [[nodiscard]] long next(long number) const {
        if (row.firstUses > 0)
            return number + row.stride;
        return depth == Depth::all || number < first ? number + 1 : number + row.stride;
    }
    // Whether no trial is to follow, in this process or another.
    [[nodiscard]] bool isDone(long number, bool hasFailed) const {
        const bool isEnough = row.firstUses > 0 && number >= row.firstUses;
        return !hasFailed || isEnough || number >= farTooMany;
    }
};

void tryAll(const Course &course, long number, int out) {
    const Row &row = course.row;
    for (int runs = 0; runs < 2 && row.firstUses == 0; ++runs)
        warmUp(row);
    for (;; number = course.next(number)) {
        tell(out, 'T', number);
        alarm(patience);
        Trial trial(number, course.shortage, out);
        row.run(trial);
        trial.expect(number < farTooMany, "never stops allocating");
        trial.expect(!testing::Test::HasFailure(), "an expectation of the test");
        const bool isDone = course.isDone(number, trial.hasFailed());
        if (isDone)
            tell(out, 'D', number);
        if (isDone || row.firstUses > 0)
            return;
    }
}

[[noreturn]] void beChild(const Course &course, long number, int out, int errors) {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    dup2(errors, STDERR_FILENO);
    tryAll(course, number, out);
    _exit(0);
}

// A process that tries one allocation after the other, until it is done or ends.
class Process {
  public:
    Process(const Course &course, long first) : errors_(std::tmpfile(), std::fclose) {
        int ends[2];
        if (errors_ == nullptr || pipe(ends) != 0)
            throw std::runtime_error("no pipe for a trial");
        child_ = fork();
        if (child_ == 0)
            beChild(course, first, ends[1], fileno(errors_.get()));
        close(ends[1]);
        lines_ = File(fdopen(ends[0], "r"), std::fclose);
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    ~Process() { wait(); }

    [[nodiscard]] std::string line() {
        char text[512];
        return std::fgets(text, sizeof text, lines_.get()) != nullptr ? text : "";
    }

    // Whether it ended by itself.
    [[nodiscard]] bool hasLeft() {
        const int status = wait();
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    // What ended it: an assertion's place, or a signal.
    [[nodiscard]] std::string end() {
        const int status = wait();
        std::rewind(errors_.get());
        static const std::regex assertion("([a-z0-9_]+\\.c):[0-9]+: ([A-Za-z0-9_]+): Assertion");
        std::smatch found;
        char text[512];
        while (std::fgets(text, sizeof text, errors_.get()) != nullptr) {
            const std::string line = text;
            if (std::regex_search(line, found, assertion))
                return "assertion in " + found[2].str() + " (" + found[1].str() + ")";
            if (line.find("Sanitizer") != std::string::npos)
                return line.substr(0, line.size() - 1);
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
            return "hangs";
        return WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "exit";
    }

  private:
    int wait() {
        if (child_ > 0)
            waitpid(child_, &status_, 0);
        child_ = 0;
        return status_;
    }

    File errors_;
    File lines_{nullptr, std::fclose};
    pid_t child_ = 0;
    int status_ = 0;
};

// Of a result code that functions give without memory.
std::string nameOf(int code) {
    static const std::map<int, const char *> names = {
        {LDAP_SUCCESS, "LDAP_SUCCESS"},
        {LDAP_SERVER_DOWN, "LDAP_SERVER_DOWN"},
        {LDAP_LOCAL_ERROR, "LDAP_LOCAL_ERROR"},
        {LDAP_ENCODING_ERROR, "LDAP_ENCODING_ERROR"},
        {LDAP_DECODING_ERROR, "LDAP_DECODING_ERROR"},
        {LDAP_FILTER_ERROR, "LDAP_FILTER_ERROR"},
        {LDAP_PARAM_ERROR, "LDAP_PARAM_ERROR"},
        {LDAP_NO_MEMORY, "LDAP_NO_MEMORY"},
        {LDAP_NOT_SUPPORTED, "LDAP_NOT_SUPPORTED"},
        {LDAP_NO_RESULTS_RETURNED, "LDAP_NO_RESULTS_RETURNED"},
        {QLDAPX_DIGEST_NO_MEMORY, "QLDAPX_DIGEST_NO_MEMORY"}};
    const auto found = names.find(code);
    return found != names.end() ? found->second : std::to_string(code);
}

// Takes what one process tells into the records.
class Reader {
  public:
    explicit Reader(Records &records) : records_(records) {}

    void take(const std::string &line) {
        std::istringstream in(line);
        char about = 0;
        std::string function, words;
        long number = 0;
        in >> about >> function >> number;
        std::getline(in, words);
        take(about, function, number, words);
    }
    // The process ended in the trial under way.
    void takeEnd(const std::string &how) {
        Record &record = records_[function_];
        ++record.tried;
        ++record.ended;
        record.ends.insert(how);
    }

    [[nodiscard]] bool isDone() const { return isDone_; }
    [[nodiscard]] long number() const { return number_; }

  private:
    void take(char about, const std::string &function, long number, const std::string &words) {
        switch (about) {
        case 'T':
            number_ = number;
            break;
        case 'C':
            function_ = function;
            records_[function_]; // called, whether or not it allocates
            break;
        case 'A':
            records_[function].allocates = true;
            break;
        case 'F':
            ++records_[function].tried;
            break;
        case 'R':
            records_[function].results.insert(nameOf(static_cast<int>(number)));
            break;
        case 'V':
            records_[function].results.insert(std::to_string(number));
            break;
        case 'P':
            records_[function].results.insert(number == 0 ? "NULL" : "a result");
            break;
        case 'L':
            takeLoss(records_[function], number);
            break;
        case 'K':
            records_[function].lostByContract = std::max(records_[function].lostByContract, number);
            break;
        case 'X':
            records_[function].complaints.insert(std::to_string(number) + ":" + words);
            break;
        case 'D':
            isDone_ = true;
            break;
        default:
            break;
        }
    }
    static void takeLoss(Record &record, long blocks) {
        ++record.lost;
        if (std::labs(blocks) > std::labs(record.mostLost))
            record.mostLost = blocks;
    }

    Records &records_;
    std::string function_;
    long number_ = 0;
    bool isDone_ = false;
};

void run(const Course &course, Records &records) {
    Reader reader(records);
    for (long first = 1; !reader.isDone(); first = course.next(reader.number())) {
        Process process(course, first);
        for (std::string line = process.line(); !line.empty(); line = process.line())
            reader.take(line);
        if (!reader.isDone() && !(course.row.firstUses > 0 && process.hasLeft()))
            reader.takeEnd(process.end());
        if (reader.number() < first)
            throw std::runtime_error(course.row.name + " fails with all its memory");
    }
}

} // namespace

Records runAll(const Rows &rows, Depth depth) {
    Records records;
    for (const Row &row : rows)
        for (const Shortage shortage : {Shortage::once, Shortage::lasting})
            if (shortage == Shortage::once || row.firstUses == 0)
                run({row, depth, shortage}, records);
    return records;
}

} // namespace qldapx_test::memory
