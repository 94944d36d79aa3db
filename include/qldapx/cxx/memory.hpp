/** memory.hpp - owners of texts, bytes and arrays that the library or libldap allocated. */
#ifndef QLDAPX_CXX_MEMORY_HPP
#define QLDAPX_CXX_MEMORY_HPP

#include <initializer_list>
#include <qldapx.h>
#include <qldapx/cxx/cstring.hpp>
#include <qldapx/cxx/handle.hpp>

namespace qldapx {

namespace detail {

struct free_by_library {
    void operator()(void *memory) const noexcept { ldapx_memfree(memory); }
};
struct free_by_libldap {
    void operator()(void *memory) const noexcept { ldap_memfree(memory); }
};
struct free_array_by_liblber {
    void operator()(char **array) const noexcept { ber_memvfree(reinterpret_cast<void **>(array)); }
};
struct free_array_by_library {
    void operator()(char **array) const noexcept {
        for (char **each = array; *each != nullptr; ++each)
            ldapx_memfree(*each);
        ldapx_memfree(array);
    }
};
struct free_bytes {
    void operator()(berval *bytes) const noexcept { ber_bvfree(bytes); }
};

} // namespace detail

/** A borrowed text of the C interface's. An empty handle reads as the empty text. */
class text_ref : public handle<char> {
  public:
    using handle::handle;
    [[nodiscard]] cstring str() const noexcept { return raw_ == nullptr ? cstring() : raw_; }
    [[nodiscard]] const char *c_str() const noexcept { return str().c_str(); }
    operator cstring() const noexcept { return str(); }
    operator std::string_view() const noexcept { return str(); }
};

/** A text of this library's, released with ldapx_memfree. */
class text : public owner<text_ref, detail::free_by_library> {
  public:
    using owner::owner;
};

/** A text of libldap's, released with ldap_memfree. */
class ldap_text : public owner<text_ref, detail::free_by_libldap> {
  public:
    using owner::owner;
};

/** Goes through an array of texts that NULL ends. */
class text_iterator {
  public:
    using value_type = cstring;
    using reference = cstring;
    using pointer = void;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::input_iterator_tag;

    constexpr text_iterator() noexcept = default;
    /** at: within such an array, or null: the end. */
    constexpr explicit text_iterator(char *const *at) noexcept
        : at_(at == nullptr || *at == nullptr ? nullptr : at) {}
    constexpr cstring operator*() const noexcept { return *at_; }
    constexpr text_iterator &operator++() noexcept {
        at_ = at_[1] == nullptr ? nullptr : at_ + 1;
        return *this;
    }
    constexpr text_iterator operator++(int) noexcept {
        const text_iterator before = *this;
        ++*this;
        return before;
    }
    friend constexpr bool operator==(text_iterator left, text_iterator right) noexcept {
        return left.at_ == right.at_;
    }
    friend constexpr bool operator!=(text_iterator left, text_iterator right) noexcept {
        return left.at_ != right.at_;
    }

  private:
    char *const *at_ = nullptr;
};

/** A borrowed array of texts that NULL ends, as a range of cstring. An empty handle has none. */
class text_list_ref : public handle<char *> {
  public:
    using handle::handle;
    [[nodiscard]] text_iterator begin() const noexcept { return text_iterator(raw_); }
    [[nodiscard]] text_iterator end() const noexcept { return text_iterator(); }
    [[nodiscard]] bool empty() const noexcept { return begin() == end(); }
};

/** Texts of this library's: each and then the array are released with ldapx_memfree. */
class text_list : public owner<text_list_ref, detail::free_array_by_library> {
  public:
    using owner::owner;
};

/** Texts of liblber's, released with ber_memvfree. */
class ldap_text_list : public owner<text_list_ref, detail::free_array_by_liblber> {
  public:
    using owner::owner;
};

/** Borrowed bytes, of any value. An empty handle has none. */
class bytes_ref : public handle<berval> {
  public:
    using handle::handle;
    [[nodiscard]] std::string_view view() const noexcept {
        return raw_ == nullptr ? std::string_view() : std::string_view(raw_->bv_val, raw_->bv_len);
    }
};

/** Bytes of liblber's, released with ber_bvfree. */
class bytes : public owner<bytes_ref, detail::free_bytes> {
  public:
    using owner::owner;
};

/**
 * Elements in a row that somebody else holds: an argument that an array, a vector, or a list in
 * braces is passed for. A list in braces lives until the call is over.
 */
template <class T>
class array_view {
  public:
    constexpr array_view() noexcept = default;
    constexpr array_view(const T *data, std::size_t size) noexcept : data_(data), size_(size) {}
    constexpr array_view(std::initializer_list<T> list) noexcept
        : data_(std::data(list)), size_(list.size()) {}
    template <class Range,
              class = decltype(static_cast<const T *>(std::data(std::declval<const Range &>())))>
    constexpr array_view(const Range &range) noexcept
        : data_(std::data(range)), size_(std::size(range)) {}

    [[nodiscard]] constexpr const T *data() const noexcept { return data_; }
    [[nodiscard]] constexpr std::size_t size() const noexcept { return size_; }
    [[nodiscard]] constexpr bool empty() const noexcept { return size_ == 0; }
    [[nodiscard]] constexpr const T *begin() const noexcept { return data_; }
    [[nodiscard]] constexpr const T *end() const noexcept { return data_ + size_; }
    [[nodiscard]] constexpr const T &operator[](std::size_t i) const noexcept { return data_[i]; }

  private:
    const T *data_ = nullptr;
    std::size_t size_ = 0;
};

namespace detail {

/** Memory of liblber's, by its function for that. */
struct free_by_liblber {
    void operator()(void *memory) const noexcept { ber_memfree(memory); }
};

} // namespace detail

} // namespace qldapx

#endif
