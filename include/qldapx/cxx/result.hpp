/** result.hpp - a value, or why there is none. */
#ifndef QLDAPX_CXX_RESULT_HPP
#define QLDAPX_CXX_RESULT_HPP

#include <cstdlib>
#include <functional>
#include <qldapx/cxx/error.hpp>
#include <type_traits>
#include <variant>

namespace qldapx {

/** Makes a result that has failed: return unexpected(std::move(other).error()). */
class unexpected {
  public:
    explicit unexpected(qldapx::error why) noexcept : why_(std::move(why)) {}
    explicit unexpected(int code) noexcept : why_(code) {}
    [[nodiscard]] const qldapx::error &error() const &noexcept { return why_; }
    [[nodiscard]] qldapx::error &&error() &&noexcept { return std::move(why_); }

  private:
    qldapx::error why_;
};

template <class T>
class result;

namespace detail {

template <class T>
struct is_result : std::false_type {};
template <class T>
struct is_result<result<T>> : std::true_type {};

/** What the results of all types have. */
template <class Stored>
class result_base {
  public:
    using error_type = qldapx::error;

    [[nodiscard]] bool has_value() const noexcept { return state_.index() == 0; }
    explicit operator bool() const noexcept { return has_value(); }

    /** Why there is no value. */
    [[nodiscard]] const qldapx::error &error() const &noexcept { return *failure(); }
    [[nodiscard]] qldapx::error &error() &noexcept { return *failure(); }
    [[nodiscard]] qldapx::error &&error() &&noexcept { return std::move(*failure()); }

  protected:
    template <class... Arguments>
    explicit result_base(std::in_place_t, Arguments &&...arguments)
        : state_(std::in_place_index<0>, std::forward<Arguments>(arguments)...) {}
    result_base(unexpected why) noexcept : state_(std::in_place_index<1>, std::move(why).error()) {}

    [[nodiscard]] Stored *stored() noexcept { return ensured(std::get_if<0>(&state_)); }
    [[nodiscard]] const Stored *stored() const noexcept { return ensured(std::get_if<0>(&state_)); }

  private:
    template <class Pointer>
    static Pointer ensured(Pointer pointer) noexcept {
        if (pointer == nullptr)
            std::abort();
        return pointer;
    }
    [[nodiscard]] qldapx::error *failure() noexcept { return ensured(std::get_if<1>(&state_)); }
    [[nodiscard]] const qldapx::error *failure() const noexcept {
        return ensured(std::get_if<1>(&state_));
    }

    std::variant<Stored, qldapx::error> state_;
};

} // namespace detail

/**
 * A value of type T, or the error that came instead; in the shape of C++23's std::expected<T,
 * error>. Nothing is thrown. Taking the value of a result that has none, or the error of one that
 * has a value, ends the process with std::abort, in every build: it is never undefined. A compiler
 * that sees the test before leaves the second one out.
 *
 * Other than there, the value of a temporary result is given by value, not by reference, so that
 * "for (cstring name : *element.field_names())" goes through a list that lives.
 */
template <class T>
class [[nodiscard]] result : public detail::result_base<T> {
    using base = detail::result_base<T>;

  public:
    using value_type = T;

    result(T value) noexcept(std::is_nothrow_move_constructible_v<T>)
        : base(std::in_place, std::move(value)) {}
    result(unexpected why) noexcept : base(std::move(why)) {}
    /** Makes the value of these arguments where it is to stand. */
    template <class... Arguments>
    explicit result(std::in_place_t, Arguments &&...arguments) noexcept(
        std::is_nothrow_constructible_v<T, Arguments...>)
        : base(std::in_place, std::forward<Arguments>(arguments)...) {}

    [[nodiscard]] const T &value() const &noexcept { return *this->stored(); }
    [[nodiscard]] T &value() &noexcept { return *this->stored(); }
    [[nodiscard]] T value() &&noexcept { return std::move(*this->stored()); }
    [[nodiscard]] const T &operator*() const &noexcept { return value(); }
    [[nodiscard]] T &operator*() &noexcept { return value(); }
    [[nodiscard]] T operator*() &&noexcept { return std::move(*this->stored()); }
    [[nodiscard]] const T *operator->() const noexcept { return this->stored(); }
    [[nodiscard]] T *operator->() noexcept { return this->stored(); }

    /** The value, or this one instead. */
    template <class Other>
    [[nodiscard]] T value_or(Other &&other) const & {
        return this->has_value() ? value() : static_cast<T>(std::forward<Other>(other));
    }
    template <class Other>
    [[nodiscard]] T value_or(Other &&other) && {
        return this->has_value() ? std::move(*this->stored())
                                 : static_cast<T>(std::forward<Other>(other));
    }

    /** What step, which gives a result, makes of the value; or the error. */
    template <class Step>
    auto and_then(Step &&step) && {
        using next = std::invoke_result_t<Step, T &&>;
        static_assert(detail::is_result<next>::value, "the step gives a result");
        if (!this->has_value())
            return next(unexpected(std::move(*this).error()));
        return std::invoke(std::forward<Step>(step), std::move(*this->stored()));
    }
    /** What change, which gives a plain value or nothing, makes of the value; or the error. */
    template <class Change>
    auto transform(Change &&change) && {
        using changed = std::invoke_result_t<Change, T &&>;
        if (!this->has_value())
            return result<changed>(unexpected(std::move(*this).error()));
        if constexpr (std::is_void_v<changed>) {
            std::invoke(std::forward<Change>(change), std::move(*this->stored()));
            return result<changed>();
        } else {
            return result<changed>(
                std::invoke(std::forward<Change>(change), std::move(*this->stored())));
        }
    }
    /** The value; or what rescue, which gives such a result, makes of the error. */
    template <class Rescue>
    result or_else(Rescue &&rescue) && {
        if (this->has_value())
            return std::move(*this);
        return std::invoke(std::forward<Rescue>(rescue), std::move(*this).error());
    }
};

/** Success without a value, or the error that came instead. */
template <>
class [[nodiscard]] result<void> : public detail::result_base<std::monostate> {
    using base = detail::result_base<std::monostate>;

  public:
    using value_type = void;

    result() noexcept : base(std::in_place) {}
    result(unexpected why) noexcept : base(std::move(why)) {}

    /** Ends the process with std::abort when this has failed. */
    void value() const noexcept { static_cast<void>(stored()); }

    /** What step, which gives a result, gives after a success; or the error. */
    template <class Step>
    auto and_then(Step &&step) && {
        using next = std::invoke_result_t<Step>;
        static_assert(detail::is_result<next>::value, "the step gives a result");
        if (!has_value())
            return next(unexpected(std::move(*this).error()));
        return std::invoke(std::forward<Step>(step));
    }
};

namespace detail {

/** A C function's result code as a result, with what the session remembers of a failure. */
inline result<void> checked(LDAP *ld, int code) noexcept {
    if (code == LDAP_SUCCESS)
        return {};
    return unexpected(error::of_session(ld, code));
}
/** The same with the value that the C function has put out. */
template <class T>
result<T> checked(LDAP *ld, int code, T value) noexcept {
    if (code == LDAP_SUCCESS)
        return result<T>(std::move(value));
    return unexpected(error::of_session(ld, code));
}
/** The same for a function that works without a session. */
inline result<void> checked(int code) noexcept {
    if (code == LDAP_SUCCESS)
        return {};
    return unexpected(code);
}
template <class T>
result<T> checked(int code, T value) noexcept {
    if (code == LDAP_SUCCESS)
        return result<T>(std::move(value));
    return unexpected(code);
}

} // namespace detail

} // namespace qldapx

#endif
