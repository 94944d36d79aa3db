// lburp ADDS ROUNDS DELAY... - adds per second into a server that only acknowledges, each answer
// DELAY microseconds after its request: by bulk update, by ldap_add_ext_s one after another, and by
// ldap_add_ext with the answers collected in between; in turn.
//
// lburp grow ROUNDS DELAY - the same by bulk update with batches and windows of all sizes, and with
// answers collected in between.
//
// This process runs on processor 0, the server on processor 1. Prints one line per figure:
// name-delay (batch-size, window-size), adds per second.
#include "acknowledging.h"
#include "ten_attributes.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <qldapx.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// How many adds go into a request, and how many requests are under way.
struct Shape {
    int batch = 100;
    int window = 4;
};

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

void expectSuccess(int result, const char *what) {
    if (result != LDAP_SUCCESS)
        fail(what);
}

using Dn = std::array<char, 64>;

void name(Dn &dn, int number) {
    std::snprintf(dn.data(), dn.size(), "uid=u%07d,ou=people,dc=example,dc=com", number);
}

LDAPMessage *next(LDAP *ld) {
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    if (ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ONE, &patience, &message) <= 0)
        fail("no answer came");
    return message;
}

class BulkUpdate {
  public:
    BulkUpdate(LDAP *ld, Shape shape)
        : ld_(ld), shape_(shape), dns_(static_cast<std::size_t>(shape.batch)),
          operations_(dns_.size()), list_(dns_.size() + 1) {
        for (std::size_t i = 0; i < dns_.size(); ++i) {
            operations_[i] = {LDAP_REQ_ADD, dns_[i].data(), attributes_.list(), nullptr};
            list_[i] = &operations_[i];
        }
    }

    void add(int adds) {
        int id = 0, code = -1, size = 0;
        expectSuccess(ldap_lburp_start_request(ld_, &id), "the start was not sent");
        expectSuccess(ldap_parse_lburp_start_response(ld_, next(ld_), &code, nullptr, &size, 1) +
                          code,
                      "the start was refused");
        int sent = 0, answered = 0;
        for (const int last = adds / shape_.batch; answered < last; ++answered) {
            for (; sent < last && sent - answered < shape_.window; ++sent)
                send(sent);
            collect();
        }
        expectSuccess(ldap_lburp_end_request(ld_, sent, &id), "the end was not sent");
        expectSuccess(ldap_parse_lburp_end_response(ld_, next(ld_), &code, nullptr, 1) + code,
                      "the end was refused");
    }

  private:
    void send(int request) {
        int id = 0;
        for (int i = 0; i < shape_.batch; ++i)
            name(dns_[static_cast<std::size_t>(i)], request * shape_.batch + i);
        expectSuccess(ldap_lburp_operation_request(ld_, request + 1, list_.data(), &id),
                      "a batch was not sent");
    }

    void collect() {
        int code = -1, count = 0;
        LBURPOperationFailure *failures = nullptr;
        expectSuccess(ldap_parse_lburp_operation_response(ld_, next(ld_), &code, nullptr, &count,
                                                          &failures, 1) +
                          code + count,
                      "a batch failed");
    }

    LDAP *ld_;
    const Shape shape_;
    bench::TenAttributes attributes_;
    std::vector<Dn> dns_;
    std::vector<LBURPOperation> operations_;
    std::vector<LBURPOperation *> list_;
};

void addInBulk(LDAP *ld, int adds) {
    BulkUpdate(ld, Shape{}).add(adds);
}

void addOneByOne(LDAP *ld, int adds) {
    bench::TenAttributes attributes;
    Dn dn;
    for (int i = 0; i < adds; ++i) {
        name(dn, i);
        expectSuccess(ldap_add_ext_s(ld, dn.data(), attributes.list(), nullptr, nullptr),
                      "an add failed");
    }
}

void collectAdd(LDAP *ld, LDAPMessage *message) {
    int code = -1;
    expectSuccess(ldap_parse_result(ld, message, &code, nullptr, nullptr, nullptr, nullptr, 1) +
                      code,
                  "an add failed");
}

void addPipelined(LDAP *ld, int adds) {
    bench::TenAttributes attributes;
    Dn dn;
    int answered = 0;
    for (int i = 0; i < adds; ++i) {
        int id = 0;
        name(dn, i);
        expectSuccess(ldap_add_ext(ld, dn.data(), attributes.list(), nullptr, nullptr, &id),
                      "an add was not sent");
        timeval now{};
        LDAPMessage *message = nullptr;
        for (; ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ONE, &now, &message) > 0; ++answered)
            collectAdd(ld, message);
    }
    for (; answered < adds; ++answered)
        collectAdd(ld, next(ld));
}

struct Way {
    const char *name;
    void (*add)(LDAP *ld, int adds);
};

constexpr Way ways[] = {
    {"bulk", addInBulk}, {"one-by-one", addOneByOne}, {"pipelined", addPipelined}};

LDAP *openSession(const std::string &uri) {
    LDAP *ld = nullptr;
    int version = LDAP_VERSION3;
    expectSuccess(ldap_initialize(&ld, uri.c_str()), "no session");
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    return ld;
}

using Add = std::function<void(LDAP *ld, int adds)>;

double addsPerSecond(const Add &add, long delay, int adds, int first) {
    bench::Acknowledger server(delay);
    LDAP *ld = openSession(server.uri());
    add(ld, first); // opens the connection
    auto start = Clock::now();
    add(ld, adds);
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return adds / seconds;
}

void measure(const Way &way, long delay, int adds) {
    std::printf("%s-%ld %.0f\n", way.name, delay, addsPerSecond(way.add, delay, adds, 100));
    std::fflush(stdout);
}

void measure(const char *what, int size, Shape shape, long delay) {
    const int adds =
        std::clamp(20 * shape.batch * shape.window, 2000, 40000) / shape.batch * shape.batch;
    const Add add = [shape](LDAP *ld, int count) { BulkUpdate(ld, shape).add(count); };
    std::printf("%s-%d %.0f\n", what, size, addsPerSecond(add, delay, adds, shape.batch));
    std::fflush(stdout);
}

void grow(long delay) {
    for (const int batch : {1, 3, 10, 30, 100, 300, 1000})
        measure("batch", batch, {batch, Shape{}.window}, delay);
    for (const int window : {1, 2, 4, 8, 16, 32})
        measure("window", window, {Shape{}.batch, window}, delay);
    std::printf("pipelined %.0f\n", addsPerSecond(addPipelined, delay, 20000, 100));
}

} // namespace

int main(int argc, char **argv) {
    bench::runOn(0);
    if (argc == 4 && std::strcmp(argv[1], "grow") == 0) {
        for (int round = std::atoi(argv[2]); round > 0; --round)
            grow(std::atol(argv[3]));
        return 0;
    }
    int adds = argc > 3 ? std::atoi(argv[1]) : 0;
    if (adds < 100 || adds % 100 != 0) {
        std::fprintf(stderr,
                     "usage: %s ADDS ROUNDS DELAY...; ADDS in hundreds; or grow ROUNDS DELAY\n",
                     argv[0]);
        return 2;
    }
    for (int i = 3; i < argc; ++i)
        for (int round = std::atoi(argv[2]); round > 0; --round)
            for (const Way &way : ways)
                measure(way, std::atol(argv[i]), adds);
}
