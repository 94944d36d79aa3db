/**
 * handle.hpp - what all owners have in common.
 *
 * Every C object has two classes here. The one whose name ends in _ref only borrows: it is a
 * pointer with member functions, copied freely, and releases nothing. The owner derives from it,
 * can be moved but not copied, and releases the object at its end. An owner is passed as it is
 * where the other is wanted. The raw pointer is always at hand:
 *
 *     session_ref theirs(borrow, ld);   // somebody else unbinds ld
 *     session mine(adopt, ld);          // ld is mine from now on
 *     LDAP *raw = mine.get();           // still mine
 *     raw = mine.release();             // not mine any more
 *
 * An owner that was moved from, released or made without an object is empty: get() is null and
 * nothing is released. No other member function may be called on it.
 */
#ifndef QLDAPX_CXX_HANDLE_HPP
#define QLDAPX_CXX_HANDLE_HPP

#include <utility>

namespace qldapx {

struct borrow_t {
    explicit borrow_t() = default;
};
struct adopt_t {
    explicit adopt_t() = default;
};
/** Makes a borrowing handle of a raw pointer, which stays its owner's. */
inline constexpr borrow_t borrow{};
/** Makes an owner of a raw pointer, which it releases from then on. */
inline constexpr adopt_t adopt{};

/** What only borrows a C object. */
template <class T>
class handle {
  public:
    using pointer = T *;

    constexpr handle() noexcept = default;
    constexpr handle(borrow_t, T *raw) noexcept : raw_(raw) {}

    [[nodiscard]] constexpr T *get() const noexcept { return raw_; }
    constexpr explicit operator bool() const noexcept { return raw_ != nullptr; }

  protected:
    T *raw_ = nullptr;
};

/**
 * What owns a C object that Ref, a handle, borrows. Releaser is called with the raw pointer; it is
 * not called with null.
 */
template <class Ref, class Releaser>
class owner : public Ref {
  public:
    using pointer = typename Ref::pointer;

    constexpr owner() noexcept = default;
    constexpr owner(adopt_t, pointer raw) noexcept : Ref(borrow, raw) {}
    constexpr owner(owner &&other) noexcept : Ref(borrow, other.release()) {}
    owner &operator=(owner &&other) noexcept {
        reset(other.release());
        return *this;
    }
    ~owner() { reset(); }

    /** Gives the object up without releasing it. */
    constexpr pointer release() noexcept { return std::exchange(this->raw_, nullptr); }
    /** Releases the object, and owns this one then. */
    void reset(pointer raw = nullptr) noexcept {
        if (pointer old = std::exchange(this->raw_, raw))
            Releaser()(old);
    }
};

} // namespace qldapx

#endif
