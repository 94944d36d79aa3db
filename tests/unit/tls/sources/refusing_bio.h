// refusing_bio.h - a BIO that takes so many bytes and no more.
#pragma once

#include "tls/sources/crypto.h"

#include <algorithm>

namespace qldapx_test::tls {

class RefusingBio {
  public:
    // answer: what writing gives then, 0 or -1.
    RefusingBio(int accepted, int answer)
        : left_(accepted), answer_(answer),
          method_(BIO_meth_new(BIO_TYPE_SOURCE_SINK, "refusing")) {
        BIO_meth_set_write(method_, write);
        BIO_meth_set_ctrl(method_, control);
        bio_ = BIO_new(method_);
        BIO_set_data(bio_, this);
        BIO_set_init(bio_, 1);
    }
    ~RefusingBio() {
        BIO_free(bio_);
        BIO_meth_free(method_);
    }
    RefusingBio(const RefusingBio &) = delete;
    RefusingBio &operator=(const RefusingBio &) = delete;

    [[nodiscard]] BIO *get() const { return bio_; }

  private:
    static int write(BIO *bio, const char *, int size) {
        auto *self = static_cast<RefusingBio *>(BIO_get_data(bio));
        if (self->left_ <= 0)
            return self->answer_;
        const int taken = std::min(size, self->left_);
        self->left_ -= taken;
        return taken;
    }
    static long control(BIO *, int command, long, void *) {
        return command == BIO_CTRL_FLUSH ? 1 : 0;
    }

    int left_, answer_;
    BIO_METHOD *method_;
    BIO *bio_;
};

} // namespace qldapx_test::tls
