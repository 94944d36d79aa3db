#include "crypto/model_entropy.h"

#include <cstdlib>
#include <cstring>
#include <sys/random.h>
#include <sys/time.h>
#include <unistd.h>

namespace qldapx_test::pool_model {

namespace {

constexpr int user = 1007, parent = 0x54321, pageSize = 16384;
constexpr int clockPairs = 16;

Calls calls;
Chance given;
long readings = 0;
unsigned lastSeed = 0;

// Seconds and microseconds of a reading: the sum crosses 32 bits, as it will after 2106.
timeval timeOf(long reading) {
    return {4294000000 + reading * 65537, (reading * 99991) % 1000000};
}

long sumOf(long reading) {
    const timeval time = timeOf(reading);
    return time.tv_sec + time.tv_usec;
}

// Tells seeds apart, in all of its bytes.
int numberFor(unsigned seed) {
    return static_cast<int>((seed * 2654435761U ^ seed >> 7) & RAND_MAX);
}

} // namespace

std::vector<int> Entropy::gather() {
    std::vector<int> numbers = {numberFor(static_cast<unsigned>(given.pid)), numberFor(user)};
    for (int i = 0; i < clockPairs; ++i, readings_ += 2)
        numbers.push_back(
            numberFor(static_cast<unsigned>(sumOf(readings_) ^ sumOf(readings_ + 1))));
    numbers.push_back(numberFor(parent));
    numbers.push_back(numberFor(pageSize));
    return numbers;
}

void Entropy::restartClock() {
    readings = 0;
}

Chance &chance() {
    return given;
}

const Calls &callsSoFar() {
    return calls;
}

} // namespace qldapx_test::pool_model

using namespace qldapx_test::pool_model;

extern "C" {

pid_t getpid() noexcept {
    ++calls.pid;
    return chance().pid;
}

ssize_t getrandom(void *buffer, std::size_t length, unsigned /*flags*/) {
    chance().asked += length;
    std::memset(buffer, chance().byte, length);
    return static_cast<ssize_t>(length);
}

uid_t getuid() noexcept {
    ++calls.user;
    return user;
}

pid_t getppid() noexcept {
    ++calls.parent;
    return parent;
}

int getpagesize() noexcept {
    ++calls.pageSize;
    return pageSize;
}

int gettimeofday(timeval *time, void * /*zone*/) noexcept {
    ++calls.clock;
    *time = timeOf(readings++);
    return 0;
}

void srand(unsigned seed) noexcept {
    ++calls.seeds;
    lastSeed = seed;
}

int rand() noexcept {
    ++calls.numbers;
    return numberFor(lastSeed);
}
}
