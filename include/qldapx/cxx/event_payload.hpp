/** event_payload.hpp - what an event carries: one of the records of event_record.h. */
#ifndef QLDAPX_CXX_EVENT_PAYLOAD_HPP
#define QLDAPX_CXX_EVENT_PAYLOAD_HPP

#include <qldapx/cxx/session.hpp>

namespace qldapx::events {

/**
 * The payload of a kind that has no record, or that this library does not know: the notification
 * as it came. Borrowed from its event.
 */
class raw_payload {
  public:
    raw_payload(LDAP *ld, LDAPMessage *notification) noexcept
        : ld_(ld), notification_(notification) {}

    /** The value of the notification, BER and all; empty when it has none. */
    [[nodiscard]] result<bytes> value() const noexcept {
        berval *value = nullptr;
        const int code = ldap_parse_intermediate(ld_, notification_, nullptr, &value, nullptr, 0);
        return qldapx::detail::checked(code, bytes(adopt, value));
    }

  private:
    LDAP *ld_;
    LDAPMessage *notification_;
};

/**
 * A payload, for std::visit or std::get_if: a pointer to the record, which is never null and is
 * the event's, or a raw_payload.
 */
using payload_view =
    std::variant<raw_payload, const EntryEventData *, const ValueEventData *,
                 const GeneralEventData *, const BinderyEventData *, const SEVEventData *,
                 const ModuleStateEventData *, const NetAddrEventData *,
                 const ConnectionStateData *, const ChangeServerAddressData *,
                 const ChangeConfigParamData *, const StatusLogEventData *, const DebugEventData *,
                 const AuthEventData *, const ConnectionEventData *, const SearchEventData *,
                 const SearchEntryResponseEventData *, const UpdateEventData *,
                 const CompareEventData *, const ModDNEventData *, const AbandonEventData *,
                 const ExtOpEventData *, const SysExtOpEventData *, const ResponseEventData *,
                 const PasswordModifyData *, const UnknownOpData *>;

namespace detail {

template <class Record>
payload_view as(const void *record) noexcept {
    return static_cast<const Record *>(record);
}

using kind_reader = payload_view (*)(const void *record) noexcept;
inline constexpr int first_kind = 97;

/** By kind; null where there is no record. */
inline constexpr kind_reader kind_readers[] = {
    as<EntryEventData>,
    as<ValueEventData>,
    as<GeneralEventData>,
    nullptr, // 100
    as<BinderyEventData>,
    as<SEVEventData>,
    as<ModuleStateEventData>,
    as<NetAddrEventData>,
    as<ConnectionStateData>,
    nullptr, // 106
    nullptr,
    as<ChangeServerAddressData>,
    as<ChangeConfigParamData>,
    nullptr, // 110
    as<StatusLogEventData>,
    as<DebugEventData>,
    as<AuthEventData>,
    as<ConnectionEventData>,
    as<SearchEventData>,
    as<SearchEntryResponseEventData>,
    as<UpdateEventData>,
    as<CompareEventData>,
    as<ModDNEventData>,
    as<AbandonEventData>, // 120
    as<ExtOpEventData>,
    as<SysExtOpEventData>,
    as<ResponseEventData>,
    as<PasswordModifyData>,
    as<UnknownOpData>,
};

inline kind_reader reader_of(int kind) noexcept {
    const int index = kind - first_kind;
    const bool is_known = index >= 0 && index < static_cast<int>(std::size(kind_readers));
    return is_known ? kind_readers[index] : nullptr;
}

} // namespace detail

/** A field of a record, as ldapx_event_field describes it. */
using field = LDAPXEventField;

/** The fields of a record, one after the other, for programs that treat all records alike. */
class field_range {
  public:
    class iterator {
      public:
        using value_type = field;
        using reference = const field &;
        using pointer = const field *;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        iterator() noexcept = default;
        explicit iterator(const void *record) noexcept : record_(record) { read(); }
        const field &operator*() const noexcept { return field_; }
        const field *operator->() const noexcept { return &field_; }
        iterator &operator++() noexcept {
            ++index_;
            read();
            return *this;
        }
        void operator++(int) noexcept { ++*this; }
        // Only the end is compared with: a record that has been read up is none.
        friend bool operator==(const iterator &a, const iterator &b) noexcept {
            return a.record_ == b.record_;
        }
        friend bool operator!=(const iterator &a, const iterator &b) noexcept { return !(a == b); }

      private:
        void read() noexcept {
            if (record_ != nullptr && ldapx_event_field(record_, index_, &field_) == 0)
                record_ = nullptr;
        }

        const void *record_ = nullptr;
        int index_ = 0;
        field field_{};
    };

    constexpr explicit field_range(const void *record) noexcept : record_(record) {}
    [[nodiscard]] iterator begin() const noexcept { return iterator(record_); }
    [[nodiscard]] iterator end() const noexcept { return {}; }

  private:
    const void *record_;
};

/** A borrowed record of an event's payload, or address. */
class record_ref : public handle<void> {
  public:
    using handle::handle;

    /** Which record it is: 97 to 125. */
    [[nodiscard]] int kind() const noexcept { return ldapx_event_kind(raw_); }
    /** The name of its type, such as "EntryEventData". */
    [[nodiscard]] cstring name() const noexcept { return ldapx_event_record_name(kind()); }
    /** Its fields; none for an empty handle. */
    [[nodiscard]] field_range fields() const noexcept { return field_range(raw_); }
};

namespace detail {

struct free_record {
    // The C function leaves the first referral's value to its caller.
    void operator()(void *record) const noexcept {
        if (ldapx_event_kind(record) == 102) {
            const auto *referrals = static_cast<const SEVEventData *>(record);
            if (referrals->referralCount > 0 && referrals->referrals != nullptr)
                ldapx_memfree(referrals->referrals[0].value);
        }
        ldap_event_free(record);
    }
};

} // namespace detail

/** A record, released with all that it points to. */
class record : public owner<record_ref, detail::free_record> {
  public:
    using owner::owner;
};

} // namespace qldapx::events

#endif
