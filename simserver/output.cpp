#include "output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace stratasim {

void report(std::string_view line) {
    const std::string whole = std::string(line) + '\n';
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

std::string printable(std::string_view text) {
    constexpr std::size_t most = 1000;
    std::string out;
    for (const char c : text.substr(0, most)) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned char>(c));
        else
            out.push_back(c);
    }
    return text.size() > most ? out + "..." : out;
}

void finishOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw std::runtime_error(
            fmt::format("cannot write the standard output: {}", std::strerror(errno)));
}

void openStandardStreams() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = open("/dev/null", O_RDWR);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

} // namespace stratasim
