/** event_stream.hpp - a registration for events, and the range of those that come. */
#ifndef QLDAPX_CXX_EVENT_STREAM_HPP
#define QLDAPX_CXX_EVENT_STREAM_HPP

#include <list>
#include <qldapx/cxx/event.hpp>

namespace qldapx::events {

/**
 * A registration, which ends with this object. As a range it gives the events as they come, until
 * an error or a time-out ends it:
 *
 *     auto stream = events::monitor(session, {{21, 0}});
 *     if (!stream)
 *         return complain(stream.error());
 *     stream->set_patience(10s);
 *     for (const events::event &event : *stream)
 *         std::visit(show, event.payload());
 *     if (stream->why_ended().code() != LDAP_TIMEOUT)
 *         return complain(stream->why_ended());
 *
 * It uses its session from the thread that asks for events, and must not outlive it.
 */
class stream {
  public:
    class iterator;

    /** Goes on with a registration that was answered: take_answer gave what was accepted. */
    stream(session_ref at, int id, accepted events) noexcept
        : session_(at), id_(id), accepted_(std::move(events)) {}
    stream(stream &&other) noexcept
        : session_(other.session_), id_(other.release()), accepted_(std::move(other.accepted_)),
          early_(std::move(other.early_)), patience_(other.patience_),
          why_ended_(std::move(other.why_ended_)) {}
    stream &operator=(stream &&other) noexcept;
    /** Tells the server that no more events are wanted, unless it ended the registration. */
    ~stream() { end_registration(); }

    /** What the server accepted. */
    [[nodiscard]] const events::accepted &accepted_events() const noexcept { return accepted_; }
    /** How long to wait for each event; nothing: the session's time-out, or for ever. */
    void set_patience(std::optional<std::chrono::microseconds> longest) noexcept {
        patience_ = longest;
    }
    /** The registration's id, which ldap_result knows it by; 0: there is none any more. */
    [[nodiscard]] int id() const noexcept { return id_; }
    /** Gives the registration up without ending it at the server. */
    int release() noexcept { return std::exchange(id_, 0); }

    /**
     * The next event. LDAP_TIMEOUT when none came in time: the registration stands, ask again.
     * LDAP_DECODING_ERROR for one that does not decode: the registration stands, too. Else it has
     * ended: with the server's code and message, or LDAP_NO_RESULTS_RETURNED where the server ended
     * it with success, or why the connection ended; from then on it is LDAP_PARAM_ERROR.
     */
    [[nodiscard, gnu::always_inline]] result<event> next();

    /** Waits for the first event. */
    [[nodiscard]] iterator begin();
    [[nodiscard]] iterator end() noexcept;
    /** Why the last loop over the range came to its end. */
    [[nodiscard]] const error &why_ended() const noexcept { return why_ended_; }

  private:
    friend result<stream> open(session_ref at, result<int> id);

    // What is rare, apart from what happens with every event.
    [[gnu::cold]] result<event> next_without_event(int type, message answer);
    error end_of_registration(const message &answer) noexcept;
    void end_registration() noexcept {
        if (const int id = release())
            static_cast<void>(session_.abandon(id));
    }

    session_ref session_;
    int id_;
    accepted accepted_;
    std::list<message> early_; // came before the answer
    std::optional<std::chrono::microseconds> patience_;
    error why_ended_{LDAP_SUCCESS};
};

/** Goes through the events of a stream. */
class stream::iterator {
  public:
    using value_type = event;
    using reference = const event &;
    using pointer = const event *;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::input_iterator_tag;

    iterator() noexcept = default;
    explicit iterator(stream &from) : from_(&from) { advance(); }
    const event &operator*() const noexcept { return *current_; }
    const event *operator->() const noexcept { return &*current_; }
    iterator &operator++() {
        advance();
        return *this;
    }
    void operator++(int) { advance(); }
    friend bool operator==(const iterator &a, const iterator &b) noexcept {
        return a.from_ == b.from_;
    }
    friend bool operator!=(const iterator &a, const iterator &b) noexcept { return !(a == b); }

  private:
    void advance() {
        current_.reset();
        result<event> next = from_->next();
        if (next) {
            current_.emplace(std::move(*next));
            return;
        }
        from_->why_ended_ = std::move(next).error();
        from_ = nullptr;
    }

    stream *from_ = nullptr;
    std::optional<event> current_;
};

inline stream &stream::operator=(stream &&other) noexcept {
    if (this == &other)
        return *this;
    end_registration();
    session_ = other.session_;
    id_ = other.release();
    accepted_ = std::move(other.accepted_);
    early_ = std::move(other.early_);
    patience_ = other.patience_;
    why_ended_ = std::move(other.why_ended_);
    return *this;
}

inline error stream::end_of_registration(const message &answer) noexcept {
    release();
    int code = LDAP_SUCCESS;
    char *words = nullptr;
    const int parsed = ldap_parse_result(session_.get(), answer.get(), &code, nullptr, &words,
                                         nullptr, nullptr, 0);
    ldap_text text(adopt, words);
    if (parsed != LDAP_SUCCESS)
        return error(parsed);
    return error(code == LDAP_SUCCESS ? LDAP_NO_RESULTS_RETURNED : code, std::move(text));
}

inline result<event> stream::next_without_event(int type, message answer) {
    if (!early_.empty()) {
        message first = std::move(early_.front());
        early_.pop_front();
        return take(session_, std::move(first));
    }
    if (id_ == 0)
        return unexpected(LDAP_PARAM_ERROR);
    if (type > 0)
        return unexpected(end_of_registration(answer));
    if (type < 0)
        release();
    return unexpected(session_.failure_to_receive(type));
}

inline result<event> stream::next() {
    LDAPMessage *answer = nullptr;
    int type = 0;
    if (id_ != 0 && early_.empty()) {
        type = qldapx::detail::receive(session_.get(), id_, patience_, LDAP_MSG_ONE, &answer);
        if (type == LDAP_RES_INTERMEDIATE)
            return take(session_, message(adopt, answer));
    }
    return next_without_event(type, message(adopt, answer));
}

inline stream::iterator stream::begin() {
    return iterator(*this);
}
inline stream::iterator stream::end() noexcept {
    return {};
}

/**
 * Waits for the answer to a registration that was sent, as long as the session's time-out allows;
 * what the server reports before it is kept for the stream.
 *
 * id: what request gave.
 */
[[nodiscard]] inline result<stream> open(session_ref at, result<int> id) {
    if (!id)
        return unexpected(std::move(id).error());
    stream opened(at, *id, {});
    while (true) {
        result<message> answer = at.wait(*id);
        if (!answer)
            return unexpected(std::move(answer).error());
        if (answer->type() == LDAP_RES_INTERMEDIATE) {
            opened.early_.push_back(std::move(*answer));
            continue;
        }
        result<accepted> events = take_answer(at, *answer);
        if (!events) {
            opened.release();
            return unexpected(std::move(events).error());
        }
        opened.accepted_ = std::move(*events);
        return opened;
    }
}

/**
 * Registers for events, and waits for the server's answer.
 *
 * Errors as those of request and take_answer.
 */
[[nodiscard]] inline result<stream> monitor(session_ref at, array_view<specification> wanted) {
    return open(at, request(at, wanted));
}

/** Registers for events that match filters. */
[[nodiscard]] inline result<stream> monitor_filtered(session_ref at,
                                                     array_view<filtered_specification> wanted) {
    return open(at, request_filtered(at, wanted));
}

} // namespace qldapx::events

#endif
