#include "standard_streams.h"

#include "errors.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace qldapx {

// For the other direction, so that it fails when it is used.
void reserveStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int unusable = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", unusable) != stream)
            std::abort();
    }
}

// A file on another machine says only when it is closed that there is no room for it.
void finishOutput() {
    if (std::fflush(stdout) != 0)
        throw OutputError(errno);
    const int copy = dup(STDOUT_FILENO);
    if (copy >= 0 && close(copy) != 0)
        throw OutputError(errno);
}

void tell(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stderr) != text.size())
        std::clearerr(stderr);
}

} // namespace qldapx
