#include "system/sweep.h"
#include "system/sweep_commands.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <regex>

namespace test {
namespace {

constexpr int errors[] = {ENOSPC, EIO, EDQUOT};

/** Lines that were broken to fit a terminal, as one. */
std::string unbroken(const std::string &text) {
    static const std::regex breaks("\n +");
    return std::regex_replace(text, breaks, " ");
}

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

/** A command that writes a file, which appears when it is whole. */
struct FileCase {
    const char *name;
    Arguments arguments; // but for the file, which comes last
    const char *file;
};

const FileCase fileCases[] = {
    {"backup", {"backup", "cn=Ada Brandt,ou=people,dc=example,dc=com", "-o"}, "a.backup"},
    {"schema export", {"schema", "export"}, "a.ldif"},
    {"schema export --json", {"--json", "schema", "export"}, "a.json"},
    {"schema graph", {"schema", "graph", "person", "-o"}, "a.dot"},
    {"schema graph to SVG", {"schema", "graph", "person", "-o"}, "a.svg"},
};

/** A command whose file is old or whole, and where it is the only one. */
class WholeFile {
  public:
    WholeFile(Sweep &sweep, const Workplace &workplace, const FileCase &file)
        : sweep_(sweep), workplace_(workplace), file_(file) {}
    void all();

  private:
    static constexpr const char *old = "what was there";
    [[nodiscard]] Arguments line(const std::string &path, bool replaces) const;
    [[nodiscard]] bool isWhole(const std::string &path) const;
    std::size_t attempt(const std::string &what, bool replaces, const Setting &setting,
                        Trouble trouble, int expected);
    void judge(const std::string &what, const Outcome &outcome, const TemporaryFolder &folder,
               bool replaces, int expected);

    Sweep &sweep_;
    const Workplace &workplace_;
    const FileCase &file_;
    std::string reference_;
};

Arguments WholeFile::line(const std::string &path, bool replaces) const {
    Arguments all = file_.arguments;
    all.push_back(path);
    if (replaces)
        all.emplace_back("--force");
    return workplace_.line(all);
}

// A backup says when it was made.
bool WholeFile::isWhole(const std::string &path) const {
    if (file_.name == std::string("backup"))
        return Process(sweep_.options().tool, {"restore", "--check", path}).wait().status == 0;
    return readFile(path) == reference_;
}

void WholeFile::judge(const std::string &what, const Outcome &outcome,
                      const TemporaryFolder &folder, bool replaces, int expected) {
    const std::string path = folder.path(file_.file);
    const Result &result = outcome.result;
    const bool isThere = std::filesystem::exists(path);
    Faults faults;
    faults.unless(folder.names().size() == (isThere ? 1U : 0U), "another file is left");
    if (result.status == 0) {
        faults.unless(isThere && isWhole(path), "done, and the file is not whole");
        faults.unless(result.err.empty(), "done, with an error");
    } else {
        faults.unless(result.status == 1, "the status is another one");
        faults.unless(isThere == replaces && (!isThere || readFile(path) == old),
                      "what was there is not there any more");
        faults.unless(has(result.err, path) && has(unbroken(result.err), std::strerror(expected)),
                      "the error does not name the file and the reason");
        faults.unless(has(result.err, "make room"), "the error does not say what to do");
    }
    sweep_.tried(what, result, faults.all());
}

std::size_t WholeFile::attempt(const std::string &what, bool replaces, const Setting &setting,
                               Trouble trouble, int expected) {
    const TemporaryFolder folder;
    if (replaces)
        static_cast<void>(folder.write(file_.file, old));
    trouble.folder = folder.path("");
    const Outcome outcome = runSupervised(
        sweep_.options().tool, line(folder.path(file_.file), replaces), setting, trouble);
    if (reference_.empty())
        reference_ = readFile(folder.path(file_.file));
    judge(what, outcome, folder, replaces, expected);
    return outcome.calls;
}

void WholeFile::all() {
    const std::size_t calls = attempt(file_.name, false, {}, {}, 0);
    for (const bool replaces : {false, true})
        for (const int error : errors)
            for (std::size_t call = 1; call <= calls; ++call)
                if (sweep_.isDue())
                    attempt(fmt::format("{}{}: call {} of {}: {}", file_.name,
                                        replaces ? " --force" : "", call, calls,
                                        std::strerror(error)),
                            replaces, {}, {Watched::Files, {}, call, error}, error);
    if (std::string_view(file_.name).ends_with("SVG")) // what dot writes has the same limit
        return;
    const auto size = static_cast<long>(reference_.size());
    for (const long most : {0L, 1L, size / 2, size - 1})
        if (sweep_.isDue()) {
            Setting setting;
            setting.mostBytes = most;
            attempt(fmt::format("{}: files of at most {} bytes", file_.name, most), true, setting,
                    {}, EFBIG);
        }
}

/** Loads that meet a full disk, and are resumed when there is room again. */
class Loads {
  public:
    Loads(Sweep &sweep, const Workplace &workplace) : sweep_(sweep), workplace_(workplace) {}
    void all();

  private:
    static constexpr int people = 12;
    std::size_t attempt(const std::string &what, const Setting &setting, const Trouble &trouble);
    [[nodiscard]] Arguments line(const TemporaryFolder &folder, const Arguments &more = {}) const;
    Result goOn(const TemporaryFolder &folder) const;
    [[nodiscard]] std::string records() const;
    void judgeEnd(Faults &faults, const TemporaryFolder &folder, const Result &last) const;

    Sweep &sweep_;
    const Workplace &workplace_;
    int number_ = 0;
};

// The last one is there already: it goes to the rejects, each time.
std::string Loads::records() const {
    const std::string unit = fmt::format("ou=load{},dc=example,dc=com", number_);
    std::string text =
        fmt::format("dn: {}\nobjectClass: organizationalUnit\nou: load{}\n\n", unit, number_);
    for (int i = 1; i <= people; ++i)
        text += fmt::format("dn: ou=u{0},{1}\nobjectClass: organizationalUnit\nou: u{0}\n\n",
                            i % 4 == 0 ? 1 : i, unit);
    return text;
}

Arguments Loads::line(const TemporaryFolder &folder, const Arguments &more) const {
    Arguments all = {"load",           folder.path("f.ldif"),
                     "--batch",        "2",
                     "--window",       "2",
                     "--continue",     "--rejects",
                     folder.path("r"), "--checkpoint",
                     folder.path("c")};
    all.insert(all.end(), more.begin(), more.end());
    return workplace_.line(all);
}

/** What a person does then, as the messages say. */
Result Loads::goOn(const TemporaryFolder &folder) const {
    const bool isBegun = std::filesystem::exists(folder.path("c"));
    const Arguments resumed = line(folder, isBegun ? Arguments{"--resume"} : Arguments{});
    return Process(sweep_.options().tool, resumed).wait();
}

void Loads::judgeEnd(Faults &faults, const TemporaryFolder &folder, const Result &last) const {
    faults.unless(last.status == 1 && has(last.out, "loaded, but for what failed"),
                  "it cannot be ended afterwards:\n" + last.out + last.err);
    faults.unless(folder.names() == std::vector<std::string>{"f.ldif", "r"}, "files are left");
    const std::string base = fmt::format("ou=load{},dc=example,dc=com", number_);
    const std::string found = workplace_.run({"search", "-b", base, "1.1"}).out;
    const std::string rejects = readFile(folder.path("r"));
    for (int i = 1; i <= people; ++i) {
        const bool isDouble = i % 4 == 0;
        faults.unless(isDouble || has(found, fmt::format("dn: ou=u{},", i)),
                      fmt::format("u{} is lost", i));
        faults.unless(isDouble || i == 1 || !has(rejects, fmt::format("dn: ou=u{},", i)),
                      fmt::format("u{} was sent twice", i));
    }
    faults.unless(has(rejects, "dn: ou=u1,"), "a rejected record is lost");
}

std::size_t Loads::attempt(const std::string &what, const Setting &setting,
                           const Trouble &trouble) {
    ++number_;
    const TemporaryFolder folder;
    static_cast<void>(folder.write("f.ldif", records()));
    Trouble here = trouble;
    here.folder = folder.path("");
    const Outcome outcome = runSupervised(sweep_.options().tool, line(folder), setting, here);
    const Result &result = outcome.result;
    Faults faults;
    // A file that cannot be used is said before anything is loaded.
    faults.unless(result.status == 1 || (result.status == 2 && has(result.err, "--rejects")),
                  "the status is another one");
    Result last = result;
    if (!has(result.out, "loaded, but for what failed") ||
        std::filesystem::exists(folder.path("c"))) {
        const bool namesFile =
            has(result.err, folder.path("r")) || has(result.err, folder.path("c"));
        faults.unless(namesFile && has(result.err, "try:"), "the error does not name the file");
        faults.unless(!has(result.err, "Success"), "the error has no reason");
        last = goOn(folder);
    }
    judgeEnd(faults, folder, last);
    sweep_.tried(what, result, faults.all());
    return outcome.calls;
}

void Loads::all() {
    const std::size_t calls = attempt("load", {}, {});
    for (const int error : errors)
        for (std::size_t call = 1; call <= calls; ++call)
            if (sweep_.isDue())
                attempt(fmt::format("load: call {} of {}: {}", call, calls, std::strerror(error)),
                        {}, {Watched::Files, {}, call, error});
    constexpr long step = 500, most = 9000;
    for (long bytes = 0; bytes < most; bytes += step)
        if (sweep_.isDue()) {
            Setting setting;
            setting.mostBytes = bytes;
            attempt(fmt::format("load: files of at most {} bytes", bytes), setting, {});
        }
}

} // namespace

void sweepDisks(Sweep &sweep) {
    const Workplace workplace(sweep.options().tool, {"--backup-piece", "100"});
    for (const FileCase &file : fileCases)
        WholeFile(sweep, workplace, file).all();
    Loads(sweep, workplace).all();
}

} // namespace test
