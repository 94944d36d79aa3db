#include "system/signal_cases.h"
#include "system/sweep.h"
#include "system/sweep_commands.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <netinet/in.h>
#include <thread>

namespace test {
namespace {

constexpr int endings[] = {SIGINT, SIGTERM, SIGHUP};

/** Where and how a case is struck. */
struct Blow {
    std::size_t call;
    int signal;
    bool after;
};

/** Everything that holds of each command. */
void judgeEnd(Faults &faults, const Outcome &outcome, const Blow &blow, bool mayBeDone) {
    const int ended = 128 + blow.signal;
    const int status = outcome.result.status;
    faults.unless(!outcome.late, fmt::format("it did not end ({:.1f} s)", outcome.seconds));
    faults.unless(!outcome.struck || status == ended || (mayBeDone && status <= 1),
                  "the status is another one");
    faults.unless(outcome.echoes, "the terminal is not as it was");
    const std::string &screen = outcome.result.out;
    const std::size_t taken = screen.rfind("\x1b[?1049h");
    faults.unless(taken == std::string::npos || screen.find("\x1b[?1049l", taken) != screen.npos,
                  "the screen was not given back");
}

std::string nameOf(const char *name, const Outcome &outcome, const Blow &blow) {
    return fmt::format("{}: {} at call {}, {}{}", name, sigabbrev_np(blow.signal), outcome.calls,
                       outcome.struck ? outcome.call : "not reached",
                       outcome.second ? ", and again" : "");
}

Outcome strike(Sweep &sweep, const Servers &servers, const SignalCase &which, const Blow &blow) {
    const TemporaryFolder folder;
    Arguments arguments = which.arguments;
    std::string written;
    for (std::string &argument : arguments)
        if (which.writes && argument.starts_with('@'))
            argument = written = folder.path(argument.substr(1));
    Setting setting;
    setting.out = setting.err = which.output;
    setting.environment = {{"TERM", "xterm"}};
    Arguments line = servers.plain.line(arguments, servers.uri(which));
    if (which.name == std::string("cert show"))
        line = {"cert", "show", servers.uri(which), "--cacert", servers.plain.path("ca.pem")};
    const bool asks = std::find(line.begin(), line.end(), "-W") != line.end();
    if (asks)
        line.erase(std::find(line.begin(), line.end(), "-w"),
                   std::find(line.begin(), line.end(), "-w") + 2);
    const Outcome outcome =
        runSupervised(sweep.options().tool, line, setting,
                      {Watched::Everything, {}, blow.call, 0, blow.signal, blow.after});
    Faults faults;
    // Once the file has its name, or the answer is printed, the command is done.
    const bool isThere = !written.empty() && std::filesystem::exists(written);
    judgeEnd(faults, outcome, blow, written.empty() ? !outcome.result.out.empty() : isThere);
    faults.unless(folder.names().size() == (isThere ? 1U : 0U), "a file is left");
    sweep.tried(nameOf(which.name, outcome, blow), outcome.result, faults.all());
    return outcome;
}

/**
 * Strikes a command at each of its calls, with each signal: up to the one at which it has ended, or
 * waits for something. Of a sample each command gets one signal.
 */
template <typename Attempt>
void everywhere(Sweep &sweep, const Attempt &attempt) {
    constexpr std::size_t ways = 2 * std::size(endings);
    const std::size_t chosen = sweep.below(ways);
    const std::size_t step = 2 * sweep.options().every - 1;
    for (std::size_t way = 0; way < ways; ++way) {
        bool goesOn = sweep.isOurs() && (sweep.options().every == 1 || way == chosen);
        for (std::size_t call = 1 + sweep.below(step); goesOn; call += 1 + sweep.below(step)) {
            const Outcome outcome = attempt(Blow{call, endings[way / 2], way % 2 == 1});
            goesOn = outcome.struck && outcome.call != "at rest";
        }
    }
}

/** A load that is struck, and resumed: nothing is lost and nothing doubled. */
class StruckLoad {
  public:
    StruckLoad(Sweep &sweep, const Workplace &workplace, Arguments more)
        : sweep_(sweep), workplace_(workplace), more_(std::move(more)) {}
    Outcome strike(const Blow &blow);

  private:
    static constexpr int people = 8;
    [[nodiscard]] std::string unit() const {
        return fmt::format("ou=struck{},dc=example,dc=com", number_);
    }
    [[nodiscard]] std::string records() const;

    Sweep &sweep_;
    const Workplace &workplace_;
    const Arguments more_;
    static inline int number_ = 0;
};

// A record that is sent twice fails, and one that is lost is missed afterwards.
std::string StruckLoad::records() const {
    std::string text =
        fmt::format("dn: {}\nobjectClass: organizationalUnit\nou: struck{}\n\n", unit(), number_);
    for (int i = 1; i <= people; ++i)
        text += fmt::format("dn: ou=u{0},{1}\nobjectClass: organizationalUnit\nou: u{0}\n\n"
                            "dn: ou=u{0},{1}\nchangetype: modify\nadd: description\n"
                            "description: d{0}\n-\n\n",
                            i, unit());
    return text;
}

Outcome StruckLoad::strike(const Blow &blow) {
    ++number_;
    const TemporaryFolder folder;
    Arguments load = {"load", folder.write("f.ldif", records()), "--rejects", folder.path("r")};
    load.insert(load.end(), more_.begin(), more_.end());
    const Outcome outcome =
        runSupervised(sweep_.options().tool, workplace_.line(load), {},
                      {Watched::Everything, {}, blow.call, 0, blow.signal, blow.after});
    Faults faults;
    const bool isThrough = outcome.result.out.find(" loaded\n") != std::string::npos;
    judgeEnd(faults, outcome, blow, isThrough);
    const bool isBegun = std::filesystem::exists(folder.path("f.ldif.checkpoint"));
    faults.unless(!isBegun || outcome.second || !outcome.result.out.empty(),
                  "it does not say what was done");
    Result last = outcome.result;
    if (isBegun || !isThrough) {
        if (isBegun)
            load.emplace_back("--resume");
        last = workplace_.run(load);
        faults.unless(last.status == 0, "it cannot be ended afterwards:\n" + last.out + last.err);
    }
    const std::string found = workplace_.run({"search", "-b", unit(), "description"}).out;
    for (int i = 1; i <= people; ++i)
        faults.unless(found.find(fmt::format("description: d{}\n", i)) != std::string::npos,
                      fmt::format("u{} is lost", i));
    faults.unless(folder.names() == std::vector<std::string>{"f.ldif"}, "a file is left");
    sweep_.tried(nameOf("load", outcome, blow), outcome.result, faults.all());
    return outcome;
}

/** A restore that is struck: it says how far it was, and the same again restores the entry. */
Outcome strikeRestore(Sweep &sweep, const Workplace &workplace, const Blow &blow) {
    const SweptCommand restore = {"restore", {}, {"restore", ada, "@ada.backup"}};
    workplace.prepare(restore);
    const Outcome outcome =
        runSupervised(sweep.options().tool, workplace.line(restore.arguments), {},
                      {Watched::Everything, {}, blow.call, 0, blow.signal, blow.after});
    const bool isThere = workplace.run({"search", "-b", ada, "-s", "base", "1.1"}).status == 0;
    Faults faults;
    judgeEnd(faults, outcome, blow, !outcome.result.out.empty());
    faults.unless(outcome.result.out.empty() || isThere, "it says done, and it is not");
    if (!isThere)
        faults.unless(workplace.run(restore.arguments).status == 0, "it cannot be done again");
    sweep.tried(nameOf("restore", outcome, blow), outcome.result, faults.all());
    return outcome;
}

} // namespace

void sweepSignals(Sweep &sweep) {
    const Servers servers(sweep.options().tool);
    for (const SignalCase &each : signalCases())
        everywhere(sweep, [&](const Blow &blow) { return strike(sweep, servers, each, blow); });
    for (const Arguments &more :
         {Arguments{"--batch", "1", "--window", "2"}, Arguments{"--batch", "3", "--rate", "200"}})
        everywhere(sweep, [&](const Blow &blow) {
            return StruckLoad(sweep, servers.plain, more).strike(blow);
        });
    if (servers.plain.run({"backup", ada, "-o", "@ada.backup"}).status != 0)
        throw std::runtime_error("no backup");
    everywhere(sweep, [&](const Blow &blow) { return strikeRestore(sweep, servers.plain, blow); });
}

} // namespace test
