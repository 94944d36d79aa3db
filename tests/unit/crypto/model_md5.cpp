#include "crypto/model_md5.h"

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

namespace qldapx_test::md5_model {

Digest digestOf(std::string_view data) {
    return digestAfter(0, data);
}

Digest digestAfter(std::uint64_t bits, std::string_view data) {
    MD5_CTX context;
    MD5_Init(&context);
    context.Nl = static_cast<std::uint32_t>(bits);
    context.Nh = static_cast<std::uint32_t>(bits >> 32);
    MD5_Update(&context, data.data(), data.size());
    Digest digest;
    MD5_Final(digest.data(), &context);
    return digest;
}

} // namespace qldapx_test::md5_model
