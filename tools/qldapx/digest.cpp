#include "digest.h"

#include <new>

namespace qldapx {
namespace {

void require(int done) {
    if (done != 1)
        throw std::bad_alloc();
}

} // namespace

Digest::Digest() : context_(EVP_MD_CTX_new()) {
    if (context_ == nullptr)
        throw std::bad_alloc();
    require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
}

void Digest::add(std::string_view bytes) {
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

std::string Digest::value() const {
    Digest copy;
    require(EVP_MD_CTX_copy_ex(copy.context_.get(), context_.get()));
    std::string result(size, '\0');
    require(EVP_DigestFinal_ex(copy.context_.get(),
                               reinterpret_cast<unsigned char *>(result.data()), nullptr));
    return result;
}

} // namespace qldapx
