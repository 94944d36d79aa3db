/** bulk_update.hpp - a bulk update over a session, several requests under way at once. */
#ifndef QLDAPX_CXX_BULK_UPDATE_HPP
#define QLDAPX_CXX_BULK_UPDATE_HPP

#include <qldapx/cxx/bulk.hpp>
#include <qldapx/cxx/bulk_answer.hpp>

namespace qldapx::bulk {

/** The answer to one request. */
struct batch_answer {
    int number;                   // the request's place in the sequence, from 1
    result<failure_list> outcome; // or why the whole request was refused
};

/**
 * A bulk update that the server has begun:
 *
 *     auto update = bulk::start(session);
 *     for (each batch) {
 *         if (update->is_full())
 *             look_at(update->collect());
 *         check(update->send(batch));
 *     }
 *     while (update->under_way() > 0)
 *         look_at(update->collect());
 *     check(update->finish());
 *
 * It sends nothing at its end: without finish the server ends the sequence with the session, which
 * must live as long.
 */
class updater {
  public:
    /** Goes on with a sequence that the server has begun and that has sent no operations. */
    updater(session_ref at, int transaction_size) noexcept
        : session_(at), transaction_size_(transaction_size) {}

    /** How many operations the server wants in a request: any number. */
    [[nodiscard]] int transaction_size() const noexcept { return transaction_size_; }
    /** How many requests may wait for their answers at once: 4, unless this says otherwise. */
    void set_window(std::size_t requests) noexcept { window_ = requests; }
    [[nodiscard]] std::size_t under_way() const noexcept { return waiting_.size() - answered_; }
    /** Whether an answer should be collected before more is sent. */
    [[nodiscard]] bool is_full() const noexcept { return under_way() >= window_; }
    /** The number of the last request that was sent. */
    [[nodiscard]] int last_number() const noexcept { return number_; }

    /**
     * Sends operations, and gives the request's number; does not wait. LDAP_ENCODING_ERROR or
     * LDAP_NOT_SUPPORTED for an operation that cannot be sent: its number is not used up.
     */
    result<int> send(batch &operations) {
        result<int> id = request_operations(session_, number_ + 1, operations.get());
        if (!id)
            return unexpected(std::move(id).error());
        ++number_;
        waiting_.push_back({*id, number_});
        return number_;
    }

    /**
     * Waits for the answer to the oldest request, as long as the session's time-out allows.
     * LDAP_PARAM_ERROR when none is under way; LDAP_TIMEOUT: it still is; otherwise why the
     * connection ended. After a request that was refused whole the server may wait for its number,
     * and not answer the later ones: request_operations sends an empty batch under it.
     */
    [[nodiscard]] result<batch_answer> collect() noexcept {
        if (under_way() == 0)
            return unexpected(LDAP_PARAM_ERROR);
        const request oldest = waiting_[answered_];
        result<message> answer = session_.wait(oldest.id);
        if (!answer)
            return unexpected(std::move(answer).error());
        forget_oldest();
        return batch_answer{oldest.number, take_operations(session_, *answer)};
    }

    /** Ends the sequence, when all answers were collected (else LDAP_PARAM_ERROR), and waits. */
    result<void> finish() noexcept {
        if (under_way() > 0)
            return unexpected(LDAP_PARAM_ERROR);
        result<int> id = request_end(session_, number_);
        if (!id)
            return unexpected(std::move(id).error());
        result<message> answer = session_.wait(*id);
        if (!answer)
            return unexpected(std::move(answer).error());
        return take_end(session_, *answer);
    }

  private:
    struct request {
        int id, number;
    };

    // The memory of those that were answered is taken up again as soon as none is under way.
    void forget_oldest() noexcept {
        if (++answered_ < waiting_.size())
            return;
        waiting_.clear();
        answered_ = 0;
    }

    session_ref session_;
    int transaction_size_;
    int number_ = 0;
    std::size_t window_ = 4;
    std::vector<request> waiting_; // the oldest first
    std::size_t answered_ = 0;     // of them
};

/** Begins a bulk update, and waits for the server's answer. Errors as those of take_start. */
[[nodiscard]] inline result<updater> start(session_ref at) noexcept {
    result<int> id = request_start(at);
    if (!id)
        return unexpected(std::move(id).error());
    result<message> answer = at.wait(*id);
    if (!answer)
        return unexpected(std::move(answer).error());
    return take_start(at, *answer).transform([at](int size) { return updater(at, size); });
}

} // namespace qldapx::bulk

#endif
