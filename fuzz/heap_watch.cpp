#include "heap_watch.h"

#include "support/assertion_trap.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// AddressSanitizer's, where it is there.
extern "C" {
__attribute__((weak)) int
__sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void *, std::size_t),
                                          void (*onFree)(const volatile void *));
__attribute__((weak)) void __asan_describe_address(void *address);
}

namespace qldapx_fuzz {

namespace {

struct Block {
    const volatile void *start;
    std::size_t size;
    // Grows from block to block.
    std::size_t serial;
};

// Far more than a run needs; a table of its own, because the hooks may not allocate.
constexpr std::size_t mostBlocks = 1 << 18;
Block blocks[mostBlocks];
std::size_t blockCount = 0;
std::size_t nextSerial = 0;
std::size_t receivedBytes = 0;
std::size_t liveBytes = 0;
std::size_t mostBytes = 0;
thread_local bool isWatching = false;
thread_local bool isPaused = false;

// What takes most for a byte is a DebugItem: 24 for the 2 of the shortest one. The rest is for
// libldap's own blocks, whose size does not depend on the message.
std::size_t mostFor(std::size_t received) {
    return 16 * received + (64U << 10);
}

void onMalloc(const volatile void *start, std::size_t size) {
    if (!isWatching || isPaused || start == nullptr)
        return;
    require(size <= mostFor(receivedBytes), "A block is larger than what was received can need.");
    require(blockCount < mostBlocks, "too many blocks to watch");
    blocks[blockCount++] = {start, size, nextSerial++};
    liveBytes += size;
    mostBytes = std::max(mostBytes, liveBytes);
}

// From the end, because most blocks are released soon.
void onFree(const volatile void *start) {
    if (!isWatching)
        return;
    for (std::size_t i = blockCount; i > 0; --i)
        if (blocks[i - 1].start == start) {
            liveBytes -= blocks[i - 1].size;
            blocks[i - 1] = blocks[--blockCount];
            return;
        }
}

void installHooks() {
    if (__sanitizer_install_malloc_and_free_hooks == nullptr)
        return;
    static const bool isInstalled = __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree) > 0;
    require(isInstalled, "the heap cannot be watched");
}

void *firstSince(std::size_t serial) {
    for (std::size_t i = 0; i < blockCount; ++i)
        if (blocks[i].serial >= serial)
            return const_cast<void *>(blocks[i].start);
    return nullptr;
}

void releaseSince(std::size_t serial) {
    while (void *left = firstSince(serial))
        std::free(left);
}

void *blockThatHolds(const std::string &text) {
    for (std::size_t i = 0; i < blockCount; ++i) {
        void *start = const_cast<void *>(blocks[i].start);
        if (blocks[i].size > text.size() && std::memcmp(start, text.c_str(), text.size() + 1) == 0)
            return start;
    }
    return nullptr;
}

} // namespace

void require(bool condition, const char *message) {
    if (condition)
        return;
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}

HeapWatch::HeapWatch(std::size_t received) {
    installHooks();
    receivedBytes = received;
    blockCount = liveBytes = mostBytes = 0;
    isPaused = false; // a call that ended in an assertion may have left it so
    isWatching = true;
}

HeapWatch::~HeapWatch() {
    isWatching = false;
    describeLeft();
    require(blockCount == 0, "A block is left over: a leak.");
}

void HeapWatch::receive(std::size_t more) {
    receivedBytes += more;
}

std::size_t HeapWatch::blocksLeft() const {
    return blockCount;
}

std::size_t HeapWatch::peak() const {
    return mostBytes;
}

void HeapWatch::describeLeft() const {
    if (blockCount > 0)
        __asan_describe_address(firstSince(0));
}

void HeapWatch::releaseAll() {
    releaseSince(0);
}

void HeapWatch::releaseLost(const std::vector<std::string> &texts) {
    if (__sanitizer_install_malloc_and_free_hooks == nullptr)
        return;
    for (const std::string &text : texts) {
        void *lost = blockThatHolds(text);
        require(lost != nullptr, "A text that the contract loses is not there.");
        std::free(lost);
    }
}

Unwatched::Unwatched() : before_(isPaused) {
    isPaused = true;
}

Unwatched::~Unwatched() {
    isPaused = before_;
}

bool returns(const std::function<void()> &call) {
    const std::size_t before = nextSerial;
    if (!qldapx_test::endsInAssertion(call))
        return true;
    releaseSince(before);
    return false;
}

} // namespace qldapx_fuzz
