/** cstring.hpp - texts that a NUL ends, as C functions take and give them. */
#ifndef QLDAPX_CXX_CSTRING_HPP
#define QLDAPX_CXX_CSTRING_HPP

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

namespace qldapx {

/**
 * A text that a NUL ends, borrowed: it lives as long as what it was made from. Its length is not
 * counted until somebody asks, and it compares and prints as text. Never null.
 */
class cstring {
  public:
    /** The empty text. */
    constexpr cstring() noexcept = default;
    /** text: ended by a NUL, not null. */
    constexpr cstring(const char *text) noexcept : text_(text) {}
    cstring(const std::string &text) noexcept : text_(text.c_str()) {}
    cstring(std::nullptr_t) = delete;

    /** For C functions. */
    [[nodiscard]] constexpr const char *c_str() const noexcept { return text_; }
    [[nodiscard]] constexpr std::string_view view() const noexcept { return text_; }
    constexpr operator std::string_view() const noexcept { return text_; }
    [[nodiscard]] constexpr bool empty() const noexcept { return *text_ == '\0'; }

    friend constexpr bool operator==(cstring left, cstring right) noexcept {
        return left.view() == right.view();
    }
    friend constexpr bool operator!=(cstring left, cstring right) noexcept {
        return left.view() != right.view();
    }
    /** For streams. */
    template <class Stream>
    friend auto operator<<(Stream &stream, cstring text) -> decltype(stream << "") {
        return stream << text.c_str();
    }

  private:
    const char *text_ = "";
};

/** As cstring, for an argument that may be left out: nullptr. */
class optional_cstring {
  public:
    constexpr optional_cstring(std::nullptr_t = nullptr) noexcept {}
    /** text: ended by a NUL; null is the same as nullptr. */
    constexpr optional_cstring(const char *text) noexcept : text_(text) {}
    constexpr optional_cstring(cstring text) noexcept : text_(text.c_str()) {}
    optional_cstring(const std::string &text) noexcept : text_(text.c_str()) {}

    /** For C functions; null when there is none. */
    [[nodiscard]] constexpr const char *c_str() const noexcept { return text_; }

  private:
    const char *text_ = nullptr;
};

namespace detail {

/** The C interface declares many texts that it only reads without const. */
inline char *only_read(const char *text) noexcept {
    return const_cast<char *>(text);
}
inline char *only_read(cstring text) noexcept {
    return only_read(text.c_str());
}
inline char *only_read(optional_cstring text) noexcept {
    return only_read(text.c_str());
}

} // namespace detail

} // namespace qldapx

#endif
