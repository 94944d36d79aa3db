/** event.hpp - events that a server reports, taken one by one. event_stream.hpp has the range. */
#ifndef QLDAPX_CXX_EVENT_HPP
#define QLDAPX_CXX_EVENT_HPP

#include <qldapx/cxx/event_payload.hpp>

/** Monitoring of server events; see event.h for what the server and libldap make of it. */
namespace qldapx::events {

/** What is to be reported: a type and a result, the server's numbers. */
using specification = ::EventSpecification;
/** The same with a search filter (RFC 4515), which the server applies. */
using filtered_specification = ::FilteredEventSpecification;

/** An event, with its notification and all that it points to. */
class event {
  public:
    /** Owns the message and both records from now on. */
    event(adopt_t, session_ref at, LDAPMessage *notification, int type, int result_code, void *data,
          void *address) noexcept
        : ld_(at.get()), notification_(adopt, notification), data_(adopt, data),
          address_(adopt, address), type_(type), result_code_(result_code) {}

    /** The server's number of the event. */
    [[nodiscard]] int type() const noexcept { return type_; }
    /** The event's result, the server's. */
    [[nodiscard]] int result_code() const noexcept { return result_code_; }
    /** The payload's record; empty for a kind that has none. */
    [[nodiscard]] record_ref data() const noexcept { return data_; }
    /** The address that came with the event; null: none came. */
    [[nodiscard]] const NetAddrEventData *address() const noexcept {
        return static_cast<const NetAddrEventData *>(address_.get());
    }
    /** The payload, for std::visit. It borrows from the event, and asks its session for nothing. */
    [[nodiscard]] payload_view payload() const noexcept {
        if (data_)
            if (const detail::kind_reader read = detail::reader_of(data_.kind()))
                return read(data_.get());
        return raw_payload(ld_, notification_.get());
    }
    /** The notification that told of it. */
    [[nodiscard]] message_ref notification() const noexcept { return notification_; }

  private:
    LDAP *ld_;
    message notification_;
    record data_, address_;
    int type_, result_code_;
};

namespace detail {
/** What a notification that failed left behind. */
[[gnu::cold, gnu::noinline]] inline error released(int code, void *payload,
                                                   void *address) noexcept {
    record(adopt, payload).reset();
    record(adopt, address).reset();
    return error(code);
}
} // namespace detail

/**
 * Takes an event from its notification (LDAP_RES_INTERMEDIATE).
 *
 * LDAP_DECODING_ERROR for what is no event notification or does not decode, LDAP_PARAM_ERROR for a
 * message of another type; the notification stays the caller's then. A string under a wrong tag
 * ends the process, as in the C function.
 */
[[nodiscard, gnu::always_inline]] inline result<event> take(session_ref at,
                                                            message &&notification) noexcept {
    int type = 0, result_code = 0;
    void *payload = nullptr, *address = nullptr;
    const int code = ldap_parse_ds_event_IP(at.get(), notification.get(), &type, &result_code,
                                            &payload, 0, &address);
    if (code != LDAP_SUCCESS)
        return unexpected(detail::released(code, payload, address));
    return result<event>(std::in_place, adopt, at, notification.release(), type, result_code,
                         payload, address);
}

/** What the server accepted of a registration, as a range. */
class accepted {
  public:
    accepted() noexcept = default;
    /** Owns the array from now on, as it would with ldapx_memfree. */
    accepted(adopt_t, EventSpecification *list, int count) noexcept
        : list_(adopt, list), count_(static_cast<std::size_t>(count)) {}

    [[nodiscard]] const EventSpecification *begin() const noexcept { return list_.get(); }
    [[nodiscard]] const EventSpecification *end() const noexcept { return begin() + count_; }
    [[nodiscard]] std::size_t size() const noexcept { return count_; }
    [[nodiscard]] bool empty() const noexcept { return count_ == 0; }

  private:
    owner<handle<EventSpecification>, qldapx::detail::free_by_library> list_;
    std::size_t count_ = 0;
};

/**
 * Takes the answer to a registration (LDAP_RES_EXTENDED). Pass it on before any other operation on
 * the session: until then libldap drops the events that come.
 *
 * The server's refusal is an error with its code and message; an answer that does not decode is
 * LDAP_DECODING_ERROR.
 */
[[nodiscard]] inline result<accepted> take_answer(session_ref at, message_ref answer) noexcept {
    int code = LDAP_SUCCESS, count = 0;
    char *words = nullptr;
    EventSpecification *list = nullptr;
    const int parsed =
        ldap_parse_monitor_events_response(at.get(), answer.get(), &code, &words, &count, &list, 0);
    ldap_text message(adopt, words);
    accepted events(adopt, list, count);
    if (parsed != LDAP_SUCCESS || code != LDAP_SUCCESS)
        return unexpected(error(parsed != LDAP_SUCCESS ? parsed : code, std::move(message)));
    return events;
}

/**
 * Sends a registration for events, and gives its id for session_ref::wait.
 *
 * wanted: not empty, or it is LDAP_PARAM_ERROR; only read.
 */
[[nodiscard]] inline result<int> request(session_ref at,
                                         array_view<specification> wanted) noexcept {
    int id = 0;
    const int code = ldap_monitor_events(at.get(), static_cast<int>(wanted.size()),
                                         const_cast<specification *>(wanted.data()), &id);
    return qldapx::detail::checked(at.get(), code, id);
}

/** Sends a registration for events that match filters; a filter is not null. */
[[nodiscard]] inline result<int>
request_filtered(session_ref at, array_view<filtered_specification> wanted) noexcept {
    int id = 0;
    const int code =
        ldap_monitor_events_filtered(at.get(), static_cast<int>(wanted.size()),
                                     const_cast<filtered_specification *>(wanted.data()), &id);
    return qldapx::detail::checked(at.get(), code, id);
}

} // namespace qldapx::events

#endif
