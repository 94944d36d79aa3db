#pragma once

#include <memory>
#include <openssl/evp.h>
#include <string>
#include <string_view>

namespace qldapx {

/** The SHA-256 of bytes that come one after the other. */
class Digest {
  public:
    static constexpr std::size_t size = 32;

    Digest();
    void add(std::string_view bytes);
    /** Of all that was added, which may go on. */
    [[nodiscard]] std::string value() const;

  private:
    struct Free {
        void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context_;
};

} // namespace qldapx
