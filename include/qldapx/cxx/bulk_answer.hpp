/** bulk_answer.hpp - what a server answers to the requests of a bulk update. */
#ifndef QLDAPX_CXX_BULK_ANSWER_HPP
#define QLDAPX_CXX_BULK_ANSWER_HPP

#include <qldapx/cxx/session.hpp>

namespace qldapx::bulk {

/** An operation that the server could not carry out. */
using failure = ::LBURPOperationFailure;

/** The operations of a request that failed, as a range; those that it does not list were done. */
class failure_list {
  public:
    failure_list() noexcept = default;
    /** Owns the array and its messages from now on. */
    failure_list(adopt_t, failure *list, int count) noexcept
        : list_(list), count_(static_cast<std::size_t>(count)) {}
    failure_list(failure_list &&other) noexcept
        : list_(std::exchange(other.list_, nullptr)), count_(std::exchange(other.count_, 0)) {}
    failure_list &operator=(failure_list &&other) noexcept {
        std::swap(list_, other.list_);
        std::swap(count_, other.count_);
        return *this;
    }
    ~failure_list() {
        for (const failure &each : *this)
            ldap_memfree(each.errorMessage);
        ldapx_memfree(list_);
    }

    [[nodiscard]] const failure *begin() const noexcept { return list_; }
    [[nodiscard]] const failure *end() const noexcept { return list_ + count_; }
    [[nodiscard]] std::size_t size() const noexcept { return count_; }
    [[nodiscard]] bool empty() const noexcept { return count_ == 0; }

  private:
    failure *list_ = nullptr;
    std::size_t count_ = 0;
};

namespace detail {

using qldapx::detail::checked;

/** What a parser gave: how it fared, and the server's own code and words. */
inline error refusal(int parsed, int code, ldap_text message) noexcept {
    // A refusal of the whole request may come without the operation's name.
    const bool is_server =
        code != LDAP_SUCCESS && (parsed == LDAP_SUCCESS || parsed == LDAP_NOT_SUPPORTED);
    return is_server ? error(code, std::move(message)) : error(parsed);
}

} // namespace detail

/**
 * Takes the answer to a start request: how many operations the server wants in a request, any
 * number, so bound it; 0 where it does not say. The server's refusal is an error with its code and
 * message; LDAP_NOT_SUPPORTED or LDAP_DECODING_ERROR for what is no such answer.
 */
[[nodiscard]] inline result<int> take_start(session_ref at, message_ref answer) noexcept {
    int code = LDAP_SUCCESS, size = 0;
    char *words = nullptr;
    const int parsed =
        ldap_parse_lburp_start_response(at.get(), answer.get(), &code, &words, &size, 0);
    ldap_text message(adopt, words);
    if (parsed != LDAP_SUCCESS || code != LDAP_SUCCESS)
        return unexpected(error(code != LDAP_SUCCESS ? code : parsed, std::move(message)));
    return size;
}

/**
 * Takes the answer to an operation request: the operations that failed. A refusal of the whole
 * request is an error with the server's code and message; LDAP_NOT_SUPPORTED or
 * LDAP_DECODING_ERROR for what is no such answer: end the session then.
 */
[[nodiscard]] inline result<failure_list> take_operations(session_ref at,
                                                          message_ref answer) noexcept {
    int code = LDAP_SUCCESS, count = 0;
    char *words = nullptr;
    failure *list = nullptr;
    const int parsed = ldap_parse_lburp_operation_response(at.get(), answer.get(), &code, &words,
                                                           &count, &list, 0);
    ldap_text message(adopt, words);
    failure_list failures(adopt, list, count);
    if (parsed != LDAP_SUCCESS || (code != LDAP_SUCCESS && failures.empty()))
        return unexpected(detail::refusal(parsed, code, std::move(message)));
    return failures;
}

/** Takes the answer to an end request. Errors as those of take_start. */
inline result<void> take_end(session_ref at, message_ref answer) noexcept {
    int code = LDAP_SUCCESS;
    char *words = nullptr;
    const int parsed = ldap_parse_lburp_end_response(at.get(), answer.get(), &code, &words, 0);
    ldap_text message(adopt, words);
    if (parsed != LDAP_SUCCESS || code != LDAP_SUCCESS)
        return unexpected(detail::refusal(parsed, code, std::move(message)));
    return {};
}

/** Sends a start request, and gives its id for session_ref::wait. */
[[nodiscard]] inline result<int> request_start(session_ref at) noexcept {
    int id = 0;
    const int code = ldap_lburp_start_request(at.get(), &id);
    return detail::checked(at.get(), code, id);
}

/**
 * Sends operations under the next sequence number, counted from 1, and gives the request's id.
 *
 * operations: ended by null; null: none; only read.
 */
[[nodiscard]] inline result<int> request_operations(session_ref at, int number,
                                                    ::LBURPOperation **operations) noexcept {
    int id = 0;
    const int code = ldap_lburp_operation_request(at.get(), number, operations, &id);
    return detail::checked(at.get(), code, id);
}

/** Sends an end request with the last operation request's number, and gives its id. */
[[nodiscard]] inline result<int> request_end(session_ref at, int number) noexcept {
    int id = 0;
    const int code = ldap_lburp_end_request(at.get(), number, &id);
    return detail::checked(at.get(), code, id);
}

} // namespace qldapx::bulk

#endif
