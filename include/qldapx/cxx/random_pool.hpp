/** random_pool.hpp - the library's random pool, from which client nonces of DIGEST-MD5 come. */
#ifndef QLDAPX_CXX_RANDOM_POOL_HPP
#define QLDAPX_CXX_RANDOM_POOL_HPP

#include <qldapx/cxx/result.hpp>

/**
 * One pool for the process; any thread may use it. Not for keys, nor wherever else somebody gains
 * by guessing: use getrandom there. Its start-up calls srand.
 */
namespace qldapx::random_pool {

/** Mixes bytes in that hold so many bytes of chance. */
inline void add(std::string_view bytes, double entropy) noexcept {
    XRAND_add(bytes.data(), static_cast<int>(bytes.size()), entropy);
}
/** Mixes bytes in that are all chance. */
inline void seed(std::string_view bytes) noexcept {
    XRAND_seed(bytes.data(), static_cast<int>(bytes.size()));
}
/** Writes bytes of the pool. Error 100: they are written, but it held too little entropy. */
inline result<void> fill(unsigned char *out, int count) noexcept {
    return detail::checked(XRAND_bytes(out, count));
}
/** Whether the pool holds enough entropy, which it gathers if nobody has yet. */
[[nodiscard]] inline bool is_ready() noexcept {
    return XRAND_status() != 0;
}
/** Gathers start-up entropy once more. */
inline void poll() noexcept {
    XRAND_poll();
}
/** Makes the pool as it was when the process began. */
inline void clean_up() noexcept {
    XRAND_cleanup();
}

} // namespace qldapx::random_pool

#endif
