// source.h - where certificates and keys come from.
#pragma once

#include "qldapx/tls_certificate.h"
#include "ssl/handles.h"

#include <climits>

namespace qldapx {

// OpenSSL counts bytes in an int, and takes a negative count for text that ends in a zero byte.
inline bool isReadable(const berval &buffer) {
    return buffer.bv_val != nullptr && buffer.bv_len <= INT_MAX;
}

inline BioPtr openFile(const void *path) {
    return BioPtr(file_to_BIO(static_cast<const char *>(path)));
}

inline BioPtr openBuffer(const void *source) {
    const auto &buffer = *static_cast<const berval *>(source);
    if (!isReadable(buffer))
        return nullptr;
    return BioPtr(BIO_new_mem_buf(buffer.bv_val, static_cast<int>(buffer.bv_len)));
}

} // namespace qldapx
