#include "heap_watch.h"

#include "support/assertion_trap.h"

#include <algorithm>
#include <cstdint>
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

// Far more than a run needs; tables of its own, because the hooks may not allocate.
constexpr std::size_t mostBlocks = 1 << 18;
Block blocks[mostBlocks];
std::size_t blockCount = 0;

// Where each address is in blocks, counted from 1; 0: nowhere. The search for an address goes from
// its home on, and ends at a 0.
constexpr std::size_t slotCount = 2 * mostBlocks;
std::uint32_t slots[slotCount];

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

std::size_t distance(std::size_t from, std::size_t to) {
    return (to - from) % slotCount;
}

std::size_t homeOf(const volatile void *start) {
    constexpr std::uint64_t golden = 0x9e3779b97f4a7c15; // 2^64 divided by the golden ratio
    return (reinterpret_cast<std::uintptr_t>(start) * golden >> 32U) % slotCount;
}

const volatile void *addressIn(std::size_t slot) {
    return blocks[slots[slot] - 1].start;
}

// The address's slot, or the free one in which it belongs.
std::size_t slotOf(const volatile void *start) {
    std::size_t slot = homeOf(start);
    while (slots[slot] != 0 && addressIn(slot) != start)
        slot = (slot + 1) % slotCount;
    return slot;
}

// Addresses behind the freed slot whose search would end there move up.
void freeSlot(std::size_t slot) {
    for (std::size_t next = (slot + 1) % slotCount; slots[next] != 0; next = (next + 1) % slotCount)
        if (distance(homeOf(addressIn(next)), next) >= distance(slot, next)) {
            slots[slot] = slots[next];
            slot = next;
        }
    slots[slot] = 0;
}

void addBlock(const Block &block) {
    blocks[blockCount++] = block;
    slots[slotOf(block.start)] = static_cast<std::uint32_t>(blockCount);
    liveBytes += block.size;
    mostBytes = std::max(mostBytes, liveBytes);
}

// The last one takes the place that is given up.
void removeBlock(std::size_t slot) {
    const std::size_t place = slots[slot];
    liveBytes -= blocks[place - 1].size;
    freeSlot(slot);
    if (place < blockCount) {
        slots[slotOf(blocks[blockCount - 1].start)] = static_cast<std::uint32_t>(place);
        blocks[place - 1] = blocks[blockCount - 1];
    }
    --blockCount;
}

void onMalloc(const volatile void *start, std::size_t size) {
    if (!isWatching || isPaused || start == nullptr)
        return;
    require(size <= mostFor(receivedBytes), "A block is larger than what was received can need.");
    require(blockCount < mostBlocks, "too many blocks to watch");
    addBlock({start, size, nextSerial++});
}

void onFree(const volatile void *start) {
    if (!isWatching)
        return;
    const std::size_t slot = slotOf(start);
    if (slots[slot] != 0)
        removeBlock(slot);
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
    mostBytes = 0;
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
