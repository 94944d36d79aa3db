#include "encoding.h"

#include <fmt/format.h>
#include <openssl/evp.h>

namespace qldapx {

std::string base64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                    reinterpret_cast<const unsigned char *>(bytes.data()),
                    static_cast<int>(bytes.size()));
    return text;
}

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes)
        fmt::format_to(std::back_inserter(text), "{:02x}", static_cast<unsigned char>(byte));
    return text;
}

} // namespace qldapx
