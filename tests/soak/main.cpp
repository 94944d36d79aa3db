// soak_api - a program that uses the library in several threads for as long as it is told to, with
// servers that work and servers that do not. It takes commands from standard input, a line each,
// and answers with a line of JSON:
//
//   rest          {"heap", "lost"}: all threads rest; bytes in use, and lost as the contract says
//   go            null: they work again
//   faults JSON   null: what there is to find now, see FaultBoard::post
//   unseen        [...]: which of these faults nobody has seen yet
//   stop          the report, see Tally::report; the program ends
#include "crew.h"
#include "faulty.h"
#include "jobs.h"
#include "tls.h"
#include "watch.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <nlohmann/json.hpp>
#include <qldapx.h>

namespace soak {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;

// More than any server may take.
constexpr std::chrono::seconds hangs{100};
constexpr int longestPause = 20; // milliseconds between two jobs

struct Options {
    std::string plain, tls;
    TlsMaterial material;
    unsigned seed = 1;
};

struct Thread {
    const char *name;
    std::string Options::*server;
    bool renewsContext; // there is one context for the process, and one thread that changes it
};

const Thread workers[] = {
    {"plain-1", &Options::plain, false},
    {"plain-2", &Options::plain, false},
    {"tls-3", &Options::tls, true},
    {"tls-4", &Options::tls, false},
};
constexpr const char *faultFinders[] = {"fault-5", "fault-6"};

const Job jobs[] = {
    {"administration", 3, administer}, {"controls", 3, useControls},
    {"changes", 3, watchChanges},      {"urls", 3, searchByUrl},
    {"archive", 3, archive},           {"schema", 2, editSchema},
    {"events", 2, monitorEvents},      {"bulk", 2, loadInBulk},
    {"bulk queue", 1, fillBulkQueue},  {"digest", 3, bindByDigest},
    {"refusals", 2, failOnPurpose},    {"local", 2, useLocally},
};

const Job &chosen(Hand &hand) {
    int all = 0;
    for (const Job &job : jobs)
        all += job.weight;
    int left = hand.below(all);
    const Job *job = jobs;
    for (; left >= job->weight; ++job)
        left -= job->weight;
    return *job;
}

void attempt(Hand &hand, const char *name, const std::function<void()> &work) {
    hand.beat().working(name);
    try {
        work();
    } catch (const std::exception &trouble) {
        hand.tally().complain(hand.place().group + ", " + name + ": " + trouble.what());
        hand.closeSession();
    }
}

// What a process makes once and keeps, such as OpenSSL's decoders, is there when memory is counted
// first: nobody rests before he has done everything.
void practise(Hand &hand, const TlsMaterial *material) {
    for (const Job &job : jobs)
        attempt(hand, job.name, [&] { job.run(hand); });
    for (int source = 0; material != nullptr && source < clientSources; ++source)
        attempt(hand, "context", [&] { renewContext(hand, *material, source); });
}

void workAt(Crew &crew, Hand &hand, const TlsMaterial *material) {
    attempt(hand, "area", [&] { hand.makeArea(); });
    practise(hand, material);
    while (crew.goOn(hand.beat(), [&] { hand.closeSession(); })) {
        if (hand.below(10) == 0)
            hand.closeSession();
        if (material != nullptr && hand.below(5) == 0)
            attempt(hand, "context",
                    [&] { renewContext(hand, *material, hand.below(clientSources)); });
        const Job &job = chosen(hand);
        attempt(hand, job.name, [&] { job.run(hand); });
        std::this_thread::sleep_for(std::chrono::milliseconds(hand.below(longestPause)));
    }
    attempt(hand, "area", [&] { hand.removeArea(); });
    hand.closeSession();
}

std::string groupOf(const std::string &name) {
    return name.substr(0, name.find('-'));
}

class Soak {
  public:
    explicit Soak(const Options &options) : options_(options) {}

    void start() {
        before_ = counts();
        for (const Thread &thread : workers)
            hire(thread.name, options_.*thread.server, [this, &thread](Hand &hand) {
                workAt(crew_, hand, thread.renewsContext ? &options_.material : nullptr);
            });
        for (const char *name : faultFinders)
            hire(name, options_.plain, [this](Hand &hand) { meetFaults(crew_, hand, board_); });
        hire("watch-7", options_.plain, [this](Hand &hand) { watchAll(crew_, hand); });
    }

    /** The answer to a command. */
    json obey(const std::string &command) {
        if (command == "rest")
            return rest();
        if (command == "go")
            crew_.resume();
        else if (command == "unseen")
            return board_.unseen();
        else if (command == "stop")
            return stop();
        else if (command.starts_with("faults "))
            board_.post(json::parse(command.substr(command.find(' '))));
        return nullptr;
    }

    std::vector<std::string> hanging() { return crew_.hanging(hangs); }

  private:
    void hire(const std::string &name, const std::string &uri,
              const std::function<void(Hand &)> &work) {
        const Place place{groupOf(name), uri, "ou=soak-" + name + ",dc=example,dc=com"};
        const unsigned seed = options_.seed * 100 + ++threads_;
        crew_.add(name, [this, place, seed, work](Beat &beat) {
            Hand hand(place, tally_, beat, seed);
            work(hand);
            beat.idle();
        });
    }

    json rest() {
        crew_.rest();
        const struct mallinfo2 heap = mallinfo2();
        return {{"heap", heap.uordblks + heap.hblkhd}, {"lost", tally_.lost()}};
    }

    json stop() {
        crew_.stop();
        json report = tally_.report();
        report["before"] = before_;
        report["after"] = counts();
        return report;
    }

    /** What the process has open, and its threads. */
    static json counts() {
        const auto in = [](const char *folder) {
            return std::distance(std::filesystem::directory_iterator(folder), {});
        };
        return {{"descriptors", in("/proc/self/fd")}, {"threads", in("/proc/self/task")}};
    }

    const Options &options_;
    Tally tally_;
    FaultBoard board_;
    Crew crew_;
    unsigned threads_ = 0;
    json before_;
};

/** Ends the program when a thread hangs, so that its core says where. */
void guard(Soak &soak) {
    std::thread([&soak] {
        for (;; std::this_thread::sleep_for(1s))
            for (const std::string &thread : soak.hanging()) {
                std::fprintf(stderr, "soak_api: %s hangs\n", thread.c_str());
                std::abort();
            }
    }).detach();
}

Options parsed(int argc, char **argv) {
    Options options;
    CLI::App app{"Uses libqldapx in several threads, until it is told to stop."};
    app.add_option("--plain", options.plain, "URI of a server")->required();
    app.add_option("--tls", options.tls, "URI of a server with TLS")->required();
    app.add_option("--stranger", options.material.strangersUri, "URI of one that is not trusted")
        ->required();
    app.add_option("--ca", options.material.ca, "whom to trust")->required();
    app.add_option("--client", options.material.client, "certificate and key")->required();
    app.add_option("--pkcs12", options.material.pkcs12, "the same")->required();
    app.add_option("--seed", options.seed, "what chance begins with");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        std::exit(app.exit(error));
    }
    return options;
}

} // namespace
} // namespace soak

int main(int argc, char **argv) {
    const soak::Options options = soak::parsed(argc, argv);
    signal(SIGPIPE, SIG_IGN);
    if (ldapssl_client_init(options.material.ca.c_str()) != 0) {
        std::fprintf(stderr, "soak_api: no context for TLS\n");
        return 1;
    }
    soak::Soak soak(options);
    soak::guard(soak);
    soak.start();
    for (std::string command; std::getline(std::cin, command);) {
        std::cout << soak.obey(command).dump() << std::endl;
        if (command == "stop")
            break;
    }
    ldapssl_client_deinit();
    return 0;
}
