// hostile_peer_run COUNT [SEED [SESSION]] - COUNT exchanges with a hostile server, in sessions of
// one or a few; with SESSION, that session alone and what it was sent.
//
// Fails on a result, an output or an end of the process that the contract does not have, on blocks
// that are left, on memory out of proportion to what was received, and on waits without an end.
#include "hostile/call.h"
#include "hostile/ending.h"
#include "hostile/network.h"
#include "hostile/tally.h"

#include "fuzz/answered_session.h"
#include "support/expected_leak.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace hostile {

namespace {

// Of liblber's and libldap's blocks for one byte, an entry's take most; the rest does not depend on
// what is received.
constexpr std::size_t mostForByte = 64, mostForAll = 512U << 10;
// A message that libldap refuses is lost: its bytes, its element and what that hangs on; and where
// a request had an answer before it, of which libldap reads the result again, that one's texts.
constexpr std::size_t lostByLibldap = 6;
constexpr unsigned long mostFindings = 50;
constexpr unsigned longestSession = 60; // seconds

std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const Operation &operation : operations())
        all.push_back(operation.name);
    return all;
}

// The rows, each as often as its weight says.
std::vector<std::size_t> weightedRows() {
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < operations().size(); ++i)
        all.insert(all.end(), operations()[i].weight, i);
    return all;
}

struct Run {
    std::uint64_t seed;
    bool isVerbose;
    Server server = {};
    std::vector<std::size_t> rows = weightedRows();
    Tally tally = Tally(names());
};

// Every operation once with right answers, which must do; what libraries allocate at their first
// use and keep is then no session's.
void warmUp(const Server &server) {
    const qldapx_test::ExpectedLeak realmsThatAreNotChosen;
    Random random(0);
    for (const Operation &operation : operations()) {
        setEpitaph(operation.name + " with right answers");
        Peer peer(server, random, [](std::size_t) {});
        LDAP *ld = peer.openSession();
        Call call{ld, random, peer};
        operation.run(call);
        ldap_unbind_ext(ld, nullptr, nullptr);
    }
}

class SessionRun {
  public:
    SessionRun(Run &run, std::uint64_t number)
        : run_(run), number_(number), random_(run.seed * 0x100000001b3U ^ number << 20),
          peer_(run.server, random_, [this](std::size_t bytes) { receive(bytes); }) {}
    SessionRun(const SessionRun &) = delete;
    SessionRun &operator=(const SessionRun &) = delete;

    void play();

  private:
    enum class After { goOn, end, abandon };

    void receive(std::size_t bytes) {
        watch_.receive(bytes);
        received_ += bytes;
    }
    After playOne();
    After settle(std::size_t row, const Ending &ending, int result);
    void say(std::size_t row, int result) const;
    void find(const std::string &what);
    bool close();
    void checkHeap(bool isAbandoned);

    Run &run_;
    std::uint64_t number_;
    Random random_;
    std::size_t received_ = 0;
    bool losesMemory_ = false;
    std::size_t refusals_ = 0;
    LDAP *ld_ = nullptr;
    std::string last_;
    Peer peer_;
    qldapx_fuzz::HeapWatch watch_{0}; // the last: what was made before is not the session's
};

void SessionRun::find(const std::string &what) {
    std::fprintf(stderr, "%s: %s\nAgain: hostile_peer_run 1 %llu %llu\n", last_.c_str(),
                 what.c_str(), static_cast<unsigned long long>(run_.seed),
                 static_cast<unsigned long long>(number_));
    run_.tally.addFinding();
}

void SessionRun::say(std::size_t row, int result) const {
    std::printf("%s: %d\n%s\n", operations()[row].name.c_str(), result,
                qldapx_test::toHex(peer_.sent()).c_str());
}

// Where a server can end the process: how, beginning of the place, and of the operation.
struct KnownEnding {
    Ending::Kind kind;
    const char *place;
    const char *operation;
};
constexpr KnownEnding knownEndings[] = {
    {Ending::Kind::assertion, "events.c:", "ldap_monitor_events"},
    {Ending::Kind::abort, "libqldapx: ldap_get_replica_info: ", "ldap_get_replica_info"},
    // libldap's own, over an empty response OID.
    {Ending::Kind::otherAssertion, "extended.c:", ""},
    {Ending::Kind::otherAssertion, "result.c:", ""},
    {Ending::Kind::otherAssertion, "request.c:970:", ""},
};

bool mayEndSo(const std::string &operation, const Ending &ending) {
    return std::ranges::any_of(knownEndings, [&](const KnownEnding &known) {
        return known.kind == ending.kind && ending.place.starts_with(known.place) &&
               operation.starts_with(known.operation);
    });
}

SessionRun::After SessionRun::settle(std::size_t row, const Ending &ending, int result) {
    const qldapx_fuzz::Unwatched pause;
    if (run_.isVerbose)
        say(row, result);
    if (ending.kind == Ending::Kind::returned) {
        run_.tally.addResult(row, result);
        const bool isOver =
            result == LDAP_SERVER_DOWN || result == LDAP_CONNECT_ERROR || peer_.hasNotice();
        return isOver ? After::end : After::goOn;
    }
    run_.tally.addEnding(row, ending);
    if (!mayEndSo(last_, ending))
        find(ending.place);
    return After::abandon;
}

SessionRun::After SessionRun::playOne() {
    const std::size_t row = random_.pick(run_.rows);
    const Operation &operation = operations()[row];
    {
        const qldapx_fuzz::Unwatched pause;
        last_ = operation.name;
    }
    peer_.setDamage(random_.percent(8) ? 0 : operation.damage);
    peer_.beginExchange();
    Call call{ld_, random_, peer_};
    int result = LDAP_SUCCESS;
    const Ending ending = endingOf([&] { result = operation.run(call); });
    losesMemory_ |= call.losesMemory;
    refusals_ += call.refusals + (result == LDAP_SERVER_DOWN || peer_.hasNotice() ? 1 : 0);
    return settle(row, ending, result);
}

void SessionRun::play() {
    std::size_t left = random_.percent(60) ? 1 : 1 + random_.below(8);
    ld_ = peer_.openSession();
    After after = After::goOn;
    while (after == After::goOn && left-- > 0)
        after = playOne();
    const bool isClosed = after != After::abandon && close();
    if (!isClosed)
        peer_.abandon();
    checkHeap(!isClosed);
}

// libldap's own fault: it ends the process over a session that it has lost count of.
bool SessionRun::close() {
    const Ending ending = endingOf([this] { ldap_unbind_ext(ld_, nullptr, nullptr); });
    if (ending.kind == Ending::Kind::returned)
        return true;
    const qldapx_fuzz::Unwatched pause;
    run_.tally.addPlace(ending);
    if (!mayEndSo("", ending))
        find(ending.place);
    return false;
}

void SessionRun::checkHeap(bool isAbandoned) {
    const qldapx_fuzz::Unwatched pause;
    const std::size_t left = watch_.blocksLeft();
    if (!isAbandoned && !losesMemory_ && left > lostByLibldap * refusals_) {
        watch_.describeLeft();
        find(std::to_string(left) + " blocks are left.");
    }
    if (watch_.peak() > mostForByte * received_ + mostForAll)
        find(std::to_string(watch_.peak()) + " bytes at once, for " + std::to_string(received_));
    watch_.releaseAll();
}

void playSession(Run &run, std::uint64_t number) {
    setEpitaph("In session " + std::to_string(number) + ". Again: hostile_peer_run 1 " +
               std::to_string(run.seed) + " " + std::to_string(number));
    alarm(longestSession);
    SessionRun(run, number).play();
}

bool readNumber(const char *text, std::uint64_t &number) {
    const char *end = text + std::strlen(text);
    return std::from_chars(text, end, number).ptr == end && end != text;
}

int report(const Run &run, std::uint64_t sessions) {
    run.tally.print();
    std::printf(
        "\n%lu exchanges in %llu sessions of seed %llu, %lu waits that timed out, %lu reads "
        "without a time-out, %lu findings\n",
        run.tally.exchanges(), static_cast<unsigned long long>(sessions),
        static_cast<unsigned long long>(run.seed), timeOuts(), stalls(), run.tally.findings());
    return run.tally.findings() == 0 ? 0 : 1;
}

int playAll(std::uint64_t count, std::uint64_t seed) {
    Run run{seed, false};
    warmUp(run.server);
    std::uint64_t session = 0;
    while (run.tally.exchanges() < count && run.tally.findings() < mostFindings)
        playSession(run, session++);
    return report(run, session);
}

int playOnly(std::uint64_t seed, std::uint64_t session) {
    Run run{seed, true};
    warmUp(run.server);
    playSession(run, session);
    return report(run, 1);
}

} // namespace

} // namespace hostile

// What a call had made with new, when it ended in an assertion, is released with free.
extern "C" const char *__asan_default_options() {
    return "alloc_dealloc_mismatch=0";
}

int main(int count, char **arguments) {
    std::uint64_t numbers[3] = {0, 1, 0};
    bool isRight = count >= 2 && count <= 4;
    for (int i = 1; isRight && i < count; ++i)
        isRight = hostile::readNumber(arguments[i], numbers[i - 1]);
    if (!isRight) {
        std::fprintf(stderr, "usage: hostile_peer_run COUNT [SEED [SESSION]]\n");
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN); // libldap leaves it to the program
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    hostile::prepareEndings();
    qldapx_fuzz::prepareSessions();
    return count == 4 ? hostile::playOnly(numbers[1], numbers[2])
                      : hostile::playAll(numbers[0], numbers[1]);
}
