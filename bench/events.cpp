// events ROUNDS EVENTS - events per second that a monitor takes from strata-sim by the library, and
// that a client takes who only calls ldap_result and throws the messages away; in turn.
//
// Prints one line per figure: name, value. Times of the processor are those of this process.
#include "simulator.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <qldapx.h>
#include <sched.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int eventType = 25;
// A small event, as the server would send it of an operation that it does not know.
constexpr char event[] = "{\"type\":25,\"result\":0,\"kind\":125,\"record\":\"UnknownOpData\","
                         "\"payload\":{\"number1\":7,\"string1\":\"cn=admin\"}}\n";

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

LDAPMessage *next(LDAP *ld, int id) {
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    if (ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message) <= 0)
        fail("no message came");
    return message;
}

// Gives the registration's message id.
int monitor(LDAP *ld) {
    berval password{6, const_cast<char *>("secret")};
    if (ldap_sasl_bind_s(ld, "cn=admin,dc=example,dc=com", LDAP_SASL_SIMPLE, &password, nullptr,
                         nullptr, nullptr) != LDAP_SUCCESS)
        fail("the bind failed");
    EventSpecification wanted{eventType, 0};
    int id = 0, code = -1;
    if (ldap_monitor_events(ld, 1, &wanted, &id) != LDAP_SUCCESS)
        fail("the registration was not sent");
    if (ldap_parse_monitor_events_response(ld, next(ld, id), &code, nullptr, nullptr, nullptr, 1) !=
            LDAP_SUCCESS ||
        code != LDAP_SUCCESS)
        fail("the registration was refused");
    return id;
}

void take(LDAP *ld, int id) {
    int type = 0, result = 0;
    void *data = nullptr;
    if (ldap_parse_ds_event(ld, next(ld, id), &type, &result, &data, 1) != LDAP_SUCCESS ||
        type != eventType || data == nullptr)
        fail("an event did not decode");
    ldap_event_free(data);
}

void discard(LDAP *ld, int id) {
    LDAPMessage *message = next(ld, id);
    if (ldap_msgtype(message) != LDAP_RES_INTERMEDIATE)
        fail("no event came");
    ldap_msgfree(message);
}

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The client to one processor, the simulator to the others.
void separate(pid_t simulator) {
    cpu_set_t own, others;
    CPU_ZERO(&own);
    CPU_SET(0, &own);
    sched_getaffinity(0, sizeof others, &others);
    CPU_CLR(0, &others);
    if (CPU_COUNT(&others) == 0 || sched_setaffinity(0, sizeof own, &own) != 0 ||
        sched_setaffinity(simulator, sizeof others, &others) != 0)
        fail("this needs two processors");
}

struct Speed {
    double perSecond;
    double processorMicroseconds;
};

Speed measure(const char *uri, long events, void (*receive)(LDAP *ld, int id)) {
    LDAP *ld = bench::openSession(uri);
    int id = monitor(ld);
    for (long i = events / 10; i > 0; --i)
        receive(ld, id);
    auto start = Clock::now();
    double processor = processorSeconds();
    for (long i = events; i > 0; --i)
        receive(ld, id);
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    processor = processorSeconds() - processor;
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return {static_cast<double>(events) / seconds, 1e6 * processor / static_cast<double>(events)};
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s ROUNDS EVENTS\n", argv[0]);
        return 2;
    }
    char file[] = "/tmp/strata-events-XXXXXX";
    int descriptor = mkstemp(file);
    if (write(descriptor, event, sizeof event - 1) != sizeof event - 1)
        fail("the events could not be written");
    close(descriptor);
    {
        bench::Simulator simulator({"--replay", file, "--replay-repeat", "0"});
        separate(simulator.process());
        const char *uri = simulator.uri().c_str();
        for (int round = std::atoi(argv[1]); round > 0; --round) {
            Speed library = measure(uri, std::atol(argv[2]), take);
            Speed hand = measure(uri, std::atol(argv[2]), discard);
            std::printf("library %.0f\nhand %.0f\nratio %.4f\n", library.perSecond, hand.perSecond,
                        library.perSecond / hand.perSecond);
            std::printf("library-cpu %.3f\nhand-cpu %.3f\n", library.processorMicroseconds,
                        hand.processorMicroseconds);
        }
    }
    unlink(file);
    return 0;
}
