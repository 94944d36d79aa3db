#include "system/listener.h"
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

using Stream = Setting::Stream;

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";

/** Which server a case has to do with. */
enum class Server { Simulator, WithTls, WithRealms, Silent, Unreachable };

/** A long command, at each of whose calls it gets a signal; @ names a file. */
struct SignalCase {
    const char *name;
    Arguments arguments;
    Server server = Server::Simulator;
    Stream output = Stream::Pipe;
    bool writes = false; // the file that the arguments name
};

const SignalCase signalCases[] = {
    {"whoami", {"whoami"}},
    {"whoami of a silent server", {"whoami"}, Server::Silent},
    {"whoami where nobody answers", {"whoami"}, Server::Unreachable},
    {"whoami by TLS", {"whoami", "--cacert", "@ca.pem"}, Server::WithTls},
    {"TLS with a silent server", {"whoami", "--cacert", "@ca.pem"}, Server::Silent},
    {"StartTLS with a silent server", {"whoami", "-ZZ"}, Server::Silent},
    {"cert show", {"cert", "show"}, Server::WithTls},
    {"DIGEST-MD5", {"whoami", "-Y", "DIGEST-MD5", "-U", adminDn}},
    {"question for a realm",
     {"whoami", "-Y", "DIGEST-MD5", "-U", adminDn},
     Server::WithRealms,
     Stream::Terminal},
    {"question for a password", {"whoami", "-W"}, Server::Simulator, Stream::Terminal},
    {"question for the image's password",
     {"backup", ada, "-o", "@a.backup", "--ask-password"},
     Server::Simulator,
     Stream::Terminal,
     true},
    {"backup", {"backup", ada, "-o", "@a.backup"}, Server::Simulator, Stream::Pipe, true},
    {"backup on a terminal",
     {"backup", ada, "-o", "@a.backup", "--force"},
     Server::Simulator,
     Stream::Terminal,
     true},
    {"schema export", {"schema", "export", "@a.ldif"}, Server::Simulator, Stream::Pipe, true},
    {"schema graph to SVG",
     {"schema", "graph", "person", "-o", "@a.svg"},
     Server::Simulator,
     Stream::Pipe,
     true},
    {"schema diff", {"schema", "diff", "@s.ldif"}},
    {"schema add --dry-run", {"schema", "add", "--file", "@s.ldif", "--dry-run"}},
    {"search", {"search", "-b", "dc=example,dc=com"}},
    {"search --follow", {"search", "-b", ada, "--follow", "--existing"}},
    {"events watch", {"events", "watch", "--type", "1000"}},
    {"events watch of a silent server",
     {"events", "watch", "--type", "1000", "--reconnect"},
     Server::Silent},
    {"events watch where nobody answers",
     {"events", "watch", "--type", "1000", "--reconnect"},
     Server::Unreachable},
    {"events top",
     {"events", "top", "--type", "1000", "--for", "0.6"},
     Server::Simulator,
     Stream::Terminal},
    {"load --dry-run", {"load", "@f.ldif", "--dry-run"}},
};

constexpr int endings[] = {SIGINT, SIGTERM, SIGHUP};

/** Takes connections, and says nothing on them. */
class SilentServer {
  public:
    SilentServer() : thread_([this] { serve(); }) {}
    ~SilentServer() {
        listener_.stop();
        thread_.join();
    }
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;
    [[nodiscard]] const std::string &uri() const { return listener_.uri(); }

  private:
    // Only the last one's client is still there.
    void serve() const {
        int last = -1, next = -1;
        while ((next = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
            if (last >= 0)
                close(last);
            last = next;
        }
        close(last);
    }

    const Listener listener_;
    std::thread thread_;
};

/** What the commands meet: a server of each sort. */
class Servers {
  public:
    explicit Servers(const std::string &tool)
        : plain(tool, {"--backup-piece", "100"}),
          withTls_(tool, {"--tls", "auto", "--tls-ca-file", plain.path("ca.pem")}),
          withRealms_(tool, {"--fault", "digest-md5-challenge=realms:3"}) {
        fill();
    }
    ~Servers() {
        for (const int each : waiting_)
            close(each);
    }
    Servers(const Servers &) = delete;
    Servers &operator=(const Servers &) = delete;

    [[nodiscard]] std::string uri(const SignalCase &which) const;

    const Workplace plain;

  private:
    void fill();

    const Workplace withTls_, withRealms_;
    const SilentServer silent_;
    const Listener unreachable_;
    std::vector<int> waiting_;
};

// With as many connections as it takes for the next ones to be left unanswered.
void Servers::fill() {
    const std::string &uri = unreachable_.uri();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(uri.substr(uri.rfind(':') + 1))));
    for (int i = 0; i < 4; ++i) {
        waiting_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        static_cast<void>(connect(waiting_.back(), reinterpret_cast<sockaddr *>(&address),
                                  sizeof address)); // or begun
    }
}

std::string Servers::uri(const SignalCase &which) const {
    const bool isTls = std::find(which.arguments.begin(), which.arguments.end(), "--cacert") !=
                       which.arguments.end();
    switch (which.server) {
    case Server::WithTls:
        return withTls_.simulator().uri();
    case Server::WithRealms:
        return withRealms_.simulator().uri();
    case Server::Silent:
        return (isTls ? "ldaps" : "ldap") + silent_.uri().substr(4);
    case Server::Unreachable:
        return unreachable_.uri();
    default:
        return plain.simulator().uri();
    }
}

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
        bool goesOn = sweep.options().every == 1 || way == chosen;
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
    for (const SignalCase &each : signalCases)
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
