// threads_test [FACTOR [ROW...]] - threads that use the library as its contract allows, for a
// ThreadSanitizer to look at: a data race is reported and fails the program, as does a result that
// the row does not expect. Each row runs FACTOR times.
#include "rows.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <ldap.h>
#include <string_view>
#include <thread>

// OpenSSL and libldap are built without the sanitizer. It does not see how OpenSSL counts
// references: who drops a context's last one releases what the library keeps with it, without a
// lock. And LockCleanUp destroys mutexes that it holds, so that nobody else can.
extern "C" const char *__tsan_default_suppressions() {
    return "called_from_lib:libcrypto.so\ncalled_from_lib:libssl.so\nrace:releaseCache\n"
           "mutex:LockCleanUp\n";
}

namespace qldapx_test {

void require(bool holds, const std::string &what) {
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s\n", what.c_str());
    std::_Exit(1);
}

namespace {

void runTogether(const Row &row) {
    std::latch start(static_cast<std::ptrdiff_t>(row.threads.size()));
    std::vector<std::thread> threads;
    for (const auto &thread : row.threads)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < row.rounds; ++round)
                thread(round);
        });
    for (std::thread &thread : threads)
        thread.join();
}

void run(const Row &row, unsigned long times) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    for (unsigned long i = 0; i < times; ++i) {
        row.before(row.rounds);
        runTogether(row);
        // For ThreadSanitizer, who destroys a lock that it holds holds one more from then on.
        std::thread(row.after).join();
    }
    const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    std::printf("%-24s %zu threads, %lu times %5u rounds: %6lld ms\n", row.name, row.threads.size(),
                times, row.rounds, static_cast<long long>(taken.count()));
    std::fflush(stdout);
}

} // namespace
} // namespace qldapx_test

int main(int count, char **arguments) {
    using namespace qldapx_test;
    const unsigned long times = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 1;
    const std::vector<std::string_view> wanted(arguments + std::min(count, 2), arguments + count);
    // libldap sets itself up with the first session, which a program makes before its threads.
    LDAP *ld = nullptr;
    require(ldap_initialize(&ld, "ldap://127.0.0.1:1") == LDAP_SUCCESS, "a session");
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    unsigned rows = 0;
    for (const auto family :
         {sessionRows(), sharedSessionRows(), schemaRows(), processRows(), tlsRows()})
        for (const Row &row : family)
            if (wanted.empty() || std::ranges::find(wanted, row.name) != wanted.end()) {
                run(row, times);
                ++rows;
            }
    require(rows > 0 && times > 0, "there is something to run");
}
