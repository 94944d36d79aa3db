#include "tls/openssl.h"

#include <fmt/format.h>
#include <openssl/err.h>

#include <stdexcept>

namespace stratasim::tls {

std::string takeProblem() {
    const unsigned long code = ERR_peek_last_error();
    const char *reason = ERR_reason_error_string(code);
    ERR_clear_error();
    return reason != nullptr ? reason : fmt::format("error {:#x}", code);
}

void require(bool done, const char *what) {
    if (!done)
        throw std::runtime_error(fmt::format("TLS: {}: {}", what, takeProblem()));
}

std::string textOf(BIO *bio) {
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? std::string(data, static_cast<std::size_t>(size)) : std::string();
}

} // namespace stratasim::tls
