// A program that has neither this library nor libldap loads, uses and closes it a thousand times:
// it stays loaded after the first (-z nodelete), and nothing grows.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <malloc.h>
#include <qldapx.h>
#include <string>
#include <unistd.h>

namespace {

constexpr int rounds = 1000;

struct Footprint {
    long descriptors, threads, mappings;
    long heap;     // bytes in use
    long resident; // bytes
};

long entriesOf(const char *folder) {
    const std::filesystem::directory_iterator entries(folder);
    return std::distance(begin(entries), end(entries));
}

Footprint footprint() {
    std::ifstream maps("/proc/self/maps"), memory("/proc/self/statm");
    const long mappings = std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
    long size = 0, resident = 0;
    memory >> size >> resident;
    return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"), mappings,
            static_cast<long>(mallinfo2().uordblks), resident * 4096};
}

void require(bool holds, const char *what, long before = 0, long after = 0) {
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s (%ld, %ld)\n", what, before, after);
    std::_Exit(1);
}

template <class Function>
Function *function(void *library, const char *name) {
    auto *found = reinterpret_cast<Function *>(dlsym(library, name));
    require(found != nullptr, name);
    return found;
}
// Of this library or of one that it needs, with the type of its declaration.
#define CALL(name) function<decltype(name)>(library, #name)

void onlyLoad(void * /*library*/) {}

void digest(void *library) {
    unsigned char bytes[16] = {};
    require(CALL(XRAND_bytes)(bytes, sizeof bytes) == 0, "bytes are drawn");
    CALL(XRAND_cleanup)();
}

void openSession(void *library) {
    LDAP *ld = nullptr;
    require(CALL(ldap_initialize)(&ld, "ldap://127.0.0.1:1") == LDAP_SUCCESS, "a session");
    const int version = LDAP_VERSION3;
    CALL(ldap_set_option)(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    require(CALL(ldap_refresh_server)(ld) == LDAP_SERVER_DOWN, "there is no server");
    CALL(ldap_unbind_ext_s)(ld, nullptr, nullptr);
}

void setUpTls(void *library) {
    require(CALL(ldapssl_client_init)(nullptr) == 0, "a context");
    require(CALL(ldapssl_set_verify_mode)(QLDAPX_TLS_VERIFY_NONE) == 0, "a mode");
    require(CALL(ldapssl_client_deinit)() == 0, "the end of the context");
}

struct Row {
    const char *name;
    int flags;
    void (*use)(void *library);
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.name;
}

void loadUseAndClose(const Row &row) {
    void *library = dlopen(LIBRARY_PATH, row.flags);
    require(library != nullptr, dlerror());
    row.use(library);
    require(dlclose(library) == 0, "it is closed");
}

[[noreturn]] void run(const Row &row) {
    require(dlsym(RTLD_DEFAULT, "ldap_initialize") == nullptr, "libldap is not there");
    // The first round loads; what libldap and OpenSSL make once is there after the second.
    loadUseAndClose(row);
    footprint(); // which takes memory, too
    loadUseAndClose(row);
    const Footprint before = footprint();
    for (int i = 2; i < rounds; ++i)
        loadUseAndClose(row);
    const Footprint after = footprint();
    require(before.descriptors == after.descriptors, "descriptors stay as many", before.descriptors,
            after.descriptors);
    require(before.threads == after.threads, "threads stay as many", before.threads, after.threads);
    require(before.mappings == after.mappings, "mappings stay as many", before.mappings,
            after.mappings);
    // A free block's rest is counted with its neighbour; one lost in each round would be 32 bytes.
    require(after.heap - before.heap < rounds, "the heap stays as large", before.heap, after.heap);
    // Pages that are touched for the first time, of blocks that were there.
    require(after.resident - before.resident < 128 * 1024, "the process stays as large",
            before.resident, after.resident);
    require(dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD) != nullptr, "it stays loaded");
    std::_Exit(0);
}

// In a process of its own, because it stays loaded.
class Loading : public testing::TestWithParam<Row> {};

TEST_P(Loading, LeavesNothingBehind) {
    EXPECT_EXIT(run(GetParam()), testing::ExitedWithCode(0), "");
}

const Row rows[] = {
    {"Local", RTLD_NOW | RTLD_LOCAL, onlyLoad},
    {"Lazy", RTLD_LAZY | RTLD_LOCAL, onlyLoad},
    {"LocalWithDigests", RTLD_NOW | RTLD_LOCAL, digest},
    {"LocalWithSessions", RTLD_NOW | RTLD_LOCAL, openSession},
    {"LocalWithTls", RTLD_NOW | RTLD_LOCAL, setUpTls},
    {"GlobalWithDigests", RTLD_NOW | RTLD_GLOBAL, digest},
    {"GlobalWithSessions", RTLD_NOW | RTLD_GLOBAL, openSession},
    {"GlobalWithTls", RTLD_NOW | RTLD_GLOBAL, setUpTls},
    {"DeepWithDigests", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND, digest},
    {"DeepWithSessions", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND, openSession},
    {"DeepWithTls", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND, setUpTls},
};

INSTANTIATE_TEST_SUITE_P(Variants, Loading, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.name); });

// The C library counts free blocks that it keeps at hand among those in use: it shall keep none.
void runWithoutKeptBlocks(char **arguments) {
    constexpr char name[] = "GLIBC_TUNABLES";
    constexpr char setting[] = "glibc.malloc.tcache_count=0:glibc.malloc.mxfast=0";
    const char *now = std::getenv(name);
    if (now != nullptr && now == std::string(setting))
        return;
    setenv(name, setting, 1);
    execv("/proc/self/exe", arguments);
    require(false, "the program starts anew");
}

} // namespace

int main(int count, char **arguments) {
    runWithoutKeptBlocks(arguments);
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
