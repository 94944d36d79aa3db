// The locks, MD5 and the random pool: they allocate nothing.
#include "memory/rows.h"

#include <qldapx.h>
#include <qldapx/md5.h>

namespace qldapx_test::memory {
namespace {

void lock(Trial &trial) {
    trial.call("LockInit", [] { LockInit(); });
    trial.call("LockCallback", [] { return LockCallback(1, 0); });
    trial.call("LockCleanUp", [] { LockCleanUp(); });
    trial.call("CRYPTO_thread_setup", [] { CRYPTO_thread_setup(); });
    trial.call("CRYPTO_w_lock", [] { return CRYPTO_w_lock(); });
    trial.call("CRYPTO_w_unlock", [] { return CRYPTO_w_unlock(); });
}

void digest(Trial &trial) {
    QldapxMD5Context context;
    unsigned char bytes[16];
    const unsigned char data[] = "abc";
    trial.call("MD5Init", [&] { MD5Init(&context); });
    trial.call("MD5Update", [&] { MD5Update(&context, data, sizeof data); });
    trial.call("MD5Final", [&] { MD5Final(bytes, &context); });
    trial.call("MD5", [&] { return MD5(data, sizeof data, nullptr); });
}

void draw(Trial &trial) {
    unsigned char bytes[32] = {};
    trial.call("XRAND_cleanup", [] { XRAND_cleanup(); });
    trial.call("XRAND_poll", [] { return XRAND_poll(); });
    trial.call("XRAND_add", [&] { XRAND_add(bytes, sizeof bytes, 1); });
    trial.call("XRAND_seed", [&] { XRAND_seed(bytes, sizeof bytes); });
    trial.call("XRAND_status", [] { return XRAND_status(); });
    trial.code("XRAND_bytes", [&] { return XRAND_bytes(bytes, sizeof bytes); });
    trial.code("XRAND_pseudo_bytes", [&] { return XRAND_pseudo_bytes(bytes, sizeof bytes); });
}

} // namespace

void addCrypto(Rows &rows) {
    rows.push_back({"locks", lock});
    rows.push_back({"MD5", digest});
    rows.push_back({"random pool", draw});
    // The pool is not used afterwards: in a process of its own.
    rows.push_back({"random pool's end", [](Trial &trial) {
                        trial.call("CRYPTO_thread_cleanup", [] { CRYPTO_thread_cleanup(); });
                    }});
}

} // namespace qldapx_test::memory
