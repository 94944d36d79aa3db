#include "events/stream.h"

#include "events/retry.h"
#include "interruption.h"
#include "messages.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace qldapx {
namespace {

/** A registration that stood, and ended otherwise than by this side. */
class RegistrationEnded : public Failure {
  public:
    using Failure::Failure;
};

Clock::duration patienceOf(LDAP *ld) {
    timeval *patience = nullptr;
    ldap_get_option(ld, LDAP_OPT_TIMEOUT, &patience);
    const std::unique_ptr<timeval, decltype(&ldap_memfree)> owner(patience, ldap_memfree);
    return std::chrono::seconds(patience == nullptr ? 0 : patience->tv_sec);
}

int descriptorOf(LDAP *ld) {
    int descriptor = -1;
    ldap_get_option(ld, LDAP_OPT_DESC, &descriptor);
    return descriptor;
}

result<int> sendRegistration(session_ref at, EventOptions &options) {
    if (!options.filter)
        return events::request(at, options.events);
    std::vector<events::filtered_specification> filtered;
    for (const EventSpecification &event : options.events)
        filtered.push_back({event.eventType, event.eventResult, options.filter->data()});
    return events::request_filtered(at, filtered);
}

/** What of the wanted is not among the accepted. */
std::vector<EventSpecification> refused(const std::vector<EventSpecification> &wanted,
                                        const std::vector<EventSpecification> &accepted) {
    std::vector<EventSpecification> rest;
    std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(rest), [&](const auto &event) {
        return std::none_of(accepted.begin(), accepted.end(), [&](const auto &each) {
            return each.eventType == event.eventType && each.eventResult == event.eventResult;
        });
    });
    return rest;
}

bool canBeMended(const Failure &failure) {
    constexpr std::array codes = {LDAP_SERVER_DOWN, LDAP_TIMEOUT, LDAP_CONNECT_ERROR, LDAP_BUSY,
                                  LDAP_UNAVAILABLE};
    const auto code = failure.problem().code;
    return dynamic_cast<const RegistrationEnded *>(&failure) != nullptr ||
           (code && std::find(codes.begin(), codes.end(), *code) != codes.end());
}

std::string reasonOf(const Failure &failure) {
    const Problem &problem = failure.problem();
    std::string text = problem.reason.empty() ? failure.what() : problem.reason;
    if (!problem.diagnostic.empty())
        text += fmt::format(" ({})", printable(problem.diagnostic));
    return text;
}

class Monitoring {
  public:
    Monitoring(Run &run, EventOptions options, EventHandler &handler)
        : run_(run), options_(std::move(options)), handler_(handler) {}

    void perform();

  private:
    void connectAndReceive();
    void registerEvents();
    int awaitAnswer();
    int takeAnswer(message_ref answer);
    void receiveEvents();
    int next(message &received, Clock::time_point until);
    void takeEvent(message notification);
    [[noreturn]] void failToGoOn(int kind, message_ref answer);
    [[nodiscard]] bool isOver() const { return ended_ || Interruption::requested(); }
    bool pauseAfter(const Failure &failure);
    void closeGap();

    Run &run_;
    EventOptions options_;
    EventHandler &handler_;
    session_ref session_;
    int id_ = 0;
    bool ended_ = false; // by the handler
    bool everRegistered_ = false;
    std::vector<EventSpecification> accepted_;
    Moment lastSign_ = std::chrono::system_clock::now(); // of life, of the server
    std::string lossReason_;                             // not empty: events may be missing
    Moment gapBegin_;
    Backoff backoff_;
};

/** Gives the message's kind, as ldap_result does; 0 when the time or everything is over. */
int Monitoring::next(message &received, Clock::time_point until) {
    while (!isOver()) {
        result<message> answer = session_.wait(id_, std::chrono::microseconds(0));
        if (answer) {
            received = std::move(*answer);
            return received.type();
        }
        if (answer.error().code() != LDAP_TIMEOUT)
            return -1;
        if (Clock::now() >= until)
            return 0;
        ended_ = !handler_.wait(descriptorOf(session_.get()), until);
    }
    return 0;
}

int Monitoring::takeAnswer(message_ref answer) {
    const auto events = events::take_answer(session_, answer);
    if (events) {
        accepted_.assign(events->begin(), events->end());
        return LDAP_SUCCESS;
    }
    // Where a failure's words are looked for.
    ldap_set_option(session_.get(), LDAP_OPT_DIAGNOSTIC_MESSAGE, events.error().message().c_str());
    const int code = events.error().code();
    if (code > 0)
        ldap_set_option(session_.get(), LDAP_OPT_RESULT_CODE, &code);
    return code;
}

// Events that come before the answer count, too.
int Monitoring::awaitAnswer() {
    const auto until = Clock::now() + patienceOf(session_.get());
    while (true) {
        message answer;
        const int kind = next(answer, until);
        if (kind == LDAP_RES_EXTENDED)
            return takeAnswer(answer);
        if (kind < 0)
            return failureCode(session_.get());
        if (kind == 0)
            return isOver() ? LDAP_SUCCESS : LDAP_TIMEOUT;
        if (kind != LDAP_RES_INTERMEDIATE)
            return LDAP_DECODING_ERROR;
        takeEvent(std::move(answer));
    }
}

void Monitoring::registerEvents() {
    accepted_.clear();
    run_.perform({}, [&](LDAP *ld) {
        session_ = session_ref(borrow, ld);
        const auto sent = sendRegistration(session_, options_);
        id_ = sent.value_or(0);
        return sent ? awaitAnswer() : sent.error().code();
    });
    if (isOver())
        return;
    if (accepted_.empty())
        throw Failure({run_.name(),
                       {},
                       {},
                       {},
                       "the server accepted none of the event types",
                       {},
                       {},
                       "see its documentation for the numbers of its events"});
    everRegistered_ = true;
    closeGap();
    lastSign_ = std::chrono::system_clock::now();
    handler_.registered(refused(options_.events, accepted_));
}

void Monitoring::takeEvent(message notification) {
    auto taken = events::take(session_, std::move(notification));
    if (!taken && taken.error().code() == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    lastSign_ = std::chrono::system_clock::now();
    if (taken)
        ended_ = !handler_.event(Event(std::move(*taken)));
    else // it has not been taken
        handler_.undecodable(rawNotification(session_.get(), notification.get()));
}

void Monitoring::failToGoOn(int kind, message_ref answer) {
    Problem problem;
    problem.operation = run_.name();
    problem.hint = "--reconnect registers anew by itself";
    if (kind == LDAP_RES_EXTENDED) {
        char *words = nullptr;
        int code = LDAP_SUCCESS;
        const int parsed = ldap_parse_result(session_.get(), answer.get(), &code, nullptr, &words,
                                             nullptr, nullptr, 0);
        problem.diagnostic = std::string(ldap_text(adopt, words));
        problem.code = parsed == LDAP_SUCCESS ? code : parsed;
        problem.reason = "the server ended the registration; later events are lost";
    } else if (kind < 0) {
        problem.code = failureCode(session_.get());
        problem.reason = fmt::format("{} ended the connection; later events are lost", run_.uri());
    } else {
        problem.code = LDAP_DECODING_ERROR;
        problem.reason = "the server sent what is no event; later events are lost";
    }
    problem.name = ldap_err2string(*problem.code);
    throw RegistrationEnded(std::move(problem));
}

void Monitoring::receiveEvents() {
    while (!isOver()) {
        message received;
        const int kind = next(received, Clock::time_point::max());
        if (kind == LDAP_RES_INTERMEDIATE)
            takeEvent(std::move(received));
        else if (kind != 0)
            failToGoOn(kind, received);
    }
}

void Monitoring::connectAndReceive() {
    registerEvents();
    const auto begin = Clock::now();
    try {
        receiveEvents();
    } catch (const RegistrationEnded &) {
        constexpr std::chrono::seconds longEnough(30);
        if (Clock::now() - begin > longEnough)
            backoff_.reset();
        throw;
    }
    static_cast<void>(session_.abandon(id_));
}

void Monitoring::closeGap() {
    if (lossReason_.empty())
        return;
    handler_.over({lossReason_, gapBegin_, std::chrono::system_clock::now()});
    lossReason_.clear();
}

/** Says what is lost and waits; false when all is over. */
bool Monitoring::pauseAfter(const Failure &failure) {
    run_.close();
    if (lossReason_.empty())
        gapBegin_ = lastSign_;
    lossReason_ = reasonOf(failure);
    const auto pause = backoff_.next();
    handler_.lost({lossReason_, gapBegin_, pause});
    const auto until = Clock::now() + pause;
    while (!isOver() && Clock::now() < until)
        ended_ = !handler_.wait(-1, until);
    return !isOver();
}

void Monitoring::perform() {
    while (true) {
        try {
            return connectAndReceive();
        } catch (const Failure &failure) {
            if (Interruption::requested())
                return;
            if (!options_.reconnect || !canBeMended(failure))
                throw;
            if (pauseAfter(failure))
                continue;
            if (!everRegistered_ && !Interruption::requested())
                throw;
            return closeGap();
        }
    }
}

} // namespace

Clock::time_point deadline(std::optional<double> seconds) {
    if (!seconds)
        return Clock::time_point::max();
    const std::chrono::duration<double> time(*seconds);
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(time);
}

void monitor(Run &run, const EventOptions &options, EventHandler &handler) {
    Monitoring(run, options, handler).perform();
}

} // namespace qldapx
