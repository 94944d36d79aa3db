/** message.hpp - what a server answered, as libldap keeps it. */
#ifndef QLDAPX_CXX_MESSAGE_HPP
#define QLDAPX_CXX_MESSAGE_HPP

#include <qldapx/cxx/result.hpp>

namespace qldapx {

class entry_range;

/** A borrowed message, or a chain of them. libldap wants the session with most questions to it. */
class message_ref : public handle<LDAPMessage> {
  public:
    using handle::handle;

    /** What it is: LDAP_RES_SEARCH_ENTRY, LDAP_RES_EXTENDED, ... */
    [[nodiscard]] int type() const noexcept { return ldap_msgtype(raw_); }
    /** The id of the request that it answers. */
    [[nodiscard]] int id() const noexcept { return ldap_msgid(raw_); }
    /** The DN of a search entry; LDAP_PARAM_ERROR for another message, LDAP_DECODING_ERROR. */
    [[nodiscard]] result<ldap_text> dn(LDAP *ld) const noexcept {
        if (type() != LDAP_RES_SEARCH_ENTRY) // libldap would read what is there
            return unexpected(LDAP_PARAM_ERROR);
        char *dn = ldap_get_dn(ld, raw_);
        if (dn != nullptr)
            return ldap_text(adopt, dn);
        return unexpected(LDAP_DECODING_ERROR);
    }
    /** The search entries of a chain. */
    [[nodiscard]] entry_range entries(LDAP *ld) const noexcept;
};

namespace detail {
struct free_message {
    void operator()(LDAPMessage *message) const noexcept { ldap_msgfree(message); }
};
} // namespace detail

/** A message, released with ldap_msgfree. */
class message : public owner<message_ref, detail::free_message> {
  public:
    using owner::owner;
};

/** The search entries of a chain of messages, one after the other. */
class entry_range {
  public:
    class iterator {
      public:
        using value_type = message_ref;
        using reference = message_ref;
        using pointer = void;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        constexpr iterator() noexcept = default;
        constexpr iterator(LDAP *ld, LDAPMessage *at) noexcept : ld_(ld), at_(at) {}
        message_ref operator*() const noexcept { return message_ref(borrow, at_); }
        iterator &operator++() noexcept {
            at_ = ldap_next_entry(ld_, at_);
            return *this;
        }
        iterator operator++(int) noexcept {
            const iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(iterator a, iterator b) noexcept { return a.at_ == b.at_; }
        friend bool operator!=(iterator a, iterator b) noexcept { return a.at_ != b.at_; }

      private:
        LDAP *ld_ = nullptr;
        LDAPMessage *at_ = nullptr;
    };

    constexpr entry_range(LDAP *ld, LDAPMessage *chain) noexcept : ld_(ld), chain_(chain) {}
    [[nodiscard]] iterator begin() const noexcept {
        return {ld_, chain_ == nullptr ? nullptr : ldap_first_entry(ld_, chain_)};
    }
    [[nodiscard]] iterator end() const noexcept { return {}; }

  private:
    LDAP *ld_;
    LDAPMessage *chain_;
};

inline entry_range message_ref::entries(LDAP *ld) const noexcept {
    return {ld, raw_};
}

} // namespace qldapx

#endif
