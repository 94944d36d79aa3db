// tls_watch.h - what OpenSSL and the library keep between two calls, set apart from what is lost.
#pragma once

#include "memory/trial.h"

#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <qldapx.h>

namespace qldapx_test::memory {

// The context that was given to the library last is kept, and OpenSSL keeps some for the thread: a
// fresh one, and nothing, at both ends.
class TlsWatch {
  public:
    explicit TlsWatch(Trial &trial) : watch_((settle(), trial)) {}
    ~TlsWatch() { settle(); }
    TlsWatch(const TlsWatch &) = delete;
    TlsWatch &operator=(const TlsWatch &) = delete;

    void allow(long blocks) { watch_.allow(blocks); }

  private:
    static void settle() {
        EXPECT_EQ(ldapssl_client_init(nullptr), 0);
        EXPECT_EQ(ldapssl_client_deinit(), 0);
        OPENSSL_thread_stop();
    }

    Watch watch_;
};

} // namespace qldapx_test::memory
