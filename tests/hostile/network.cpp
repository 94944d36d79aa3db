#include "hostile/network.h"

#include "fuzz/heap_watch.h"

#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

const qldapx_test::Bytes *expected = nullptr;
unsigned long timeOutCount = 0, stallCount = 0;

// The function of that name that this one stands before.
template <class Function>
Function *next(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

bool waitsForEver(int descriptor) {
    pollfd reading = {descriptor, POLLIN, 0};
    return syscall(SYS_poll, &reading, 1, 0) == 0 && (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0;
}

// In the place of the client's socket comes the end of a pair.
bool answerAt(int client, const qldapx_test::Bytes &said) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    send(ends[1], said.data(), said.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    shutdown(ends[1], SHUT_WR);
    dup2(ends[0], client);
    close(ends[0]);
    static int last = -1; // the server's end lives as long as it is written to
    if (last >= 0)
        close(last);
    last = ends[1];
    return true;
}

} // namespace

extern "C" int poll(pollfd *descriptors, nfds_t count, int timeout) {
    const auto ready = static_cast<int>(syscall(SYS_poll, descriptors, count, 0));
    if (ready == 0 && timeout != 0) {
        qldapx_fuzz::require(timeout > 0, "It waits for ever.");
        ++timeOutCount;
    }
    return ready;
}

extern "C" ssize_t read(int descriptor, void *bytes, std::size_t size) {
    static const auto real = next<ssize_t(int, void *, std::size_t)>("read");
    if (!waitsForEver(descriptor))
        return real(descriptor, bytes, size);
    ++stallCount;
    return 0;
}

extern "C" int connect(int descriptor, const sockaddr * /*address*/, socklen_t /*length*/) {
    const qldapx_test::Bytes *said = expected;
    expected = nullptr;
    if (said != nullptr && answerAt(descriptor, *said))
        return 0;
    errno = ECONNREFUSED;
    return -1;
}

extern "C" int getaddrinfo(const char *name, const char *service, const addrinfo *hints,
                           addrinfo **result) {
    static const auto real =
        next<int(const char *, const char *, const addrinfo *, addrinfo **)>("getaddrinfo");
    addrinfo numeric = {};
    if (hints != nullptr)
        numeric = *hints;
    numeric.ai_flags |= AI_NUMERICHOST;
    return real(name, service, &numeric, result);
}

namespace hostile {

void expectConnection(const qldapx_test::Bytes &said) {
    expected = &said;
}

bool wasConnected() {
    return expected == nullptr;
}

unsigned long timeOuts() {
    return timeOutCount;
}

unsigned long stalls() {
    return stallCount;
}

} // namespace hostile
