#include "events/stream.h"

#include "events/retry.h"
#include "identity.h"
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

struct FreeSpecifications {
    void operator()(EventSpecification *events) const { ldapx_memfree(events); }
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

int sendRegistration(LDAP *ld, EventOptions &options, int &id) {
    const int count = static_cast<int>(options.events.size());
    if (!options.filter)
        return ldap_monitor_events(ld, count, options.events.data(), &id);
    std::vector<FilteredEventSpecification> filtered;
    for (const EventSpecification &event : options.events)
        filtered.push_back({event.eventType, event.eventResult, options.filter->data()});
    return ldap_monitor_events_filtered(ld, count, filtered.data(), &id);
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
    int takeAnswer(LDAPMessage *message);
    void receiveEvents();
    int next(MessagePtr &message, Clock::time_point until);
    void takeEvent(LDAPMessage *message);
    [[noreturn]] void failToGoOn(int kind, LDAPMessage *message);
    [[nodiscard]] bool isOver() const { return ended_ || Interruption::requested(); }
    bool pauseAfter(const Failure &failure);
    void closeGap();

    Run &run_;
    EventOptions options_;
    EventHandler &handler_;
    LDAP *ld_ = nullptr;
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
int Monitoring::next(MessagePtr &message, Clock::time_point until) {
    while (!isOver()) {
        timeval poll = {0, 0};
        LDAPMessage *received = nullptr;
        const int kind = ldap_result(ld_, id_, LDAP_MSG_ONE, &poll, &received);
        message.reset(received);
        if (kind != 0)
            return kind;
        if (Clock::now() >= until)
            return 0;
        ended_ = !handler_.wait(descriptorOf(ld_), until);
    }
    return 0;
}

int Monitoring::takeAnswer(LDAPMessage *message) {
    int code = LDAP_SUCCESS, count = 0;
    char *words = nullptr;
    EventSpecification *events = nullptr;
    const int parsed =
        ldap_parse_monitor_events_response(ld_, message, &code, &words, &count, &events, 0);
    const std::unique_ptr<EventSpecification, FreeSpecifications> owner(events);
    // Where a failure's words are looked for.
    ldap_set_option(ld_, LDAP_OPT_DIAGNOSTIC_MESSAGE, takeLdapText(words).c_str());
    accepted_.assign(events, events + count);
    if (parsed != LDAP_SUCCESS)
        return parsed;
    ldap_set_option(ld_, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

// Events that come before the answer count, too.
int Monitoring::awaitAnswer() {
    const auto until = Clock::now() + patienceOf(ld_);
    while (true) {
        MessagePtr message;
        const int kind = next(message, until);
        if (kind == LDAP_RES_EXTENDED)
            return takeAnswer(message.get());
        if (kind < 0)
            return failureCode(ld_);
        if (kind == 0)
            return isOver() ? LDAP_SUCCESS : LDAP_TIMEOUT;
        if (kind != LDAP_RES_INTERMEDIATE)
            return LDAP_DECODING_ERROR;
        takeEvent(message.get());
    }
}

void Monitoring::registerEvents() {
    accepted_.clear();
    run_.perform({}, [&](LDAP *ld) {
        ld_ = ld;
        const int sent = sendRegistration(ld, options_, id_);
        return sent == LDAP_SUCCESS ? awaitAnswer() : sent;
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

void Monitoring::takeEvent(LDAPMessage *message) {
    Event event;
    const int code = readEvent(ld_, message, event);
    if (code == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    lastSign_ = event.time;
    if (code == LDAP_SUCCESS)
        ended_ = !handler_.event(event);
    else
        handler_.undecodable(rawNotification(ld_, message));
}

void Monitoring::failToGoOn(int kind, LDAPMessage *message) {
    Problem problem;
    problem.operation = run_.name();
    problem.hint = "--reconnect registers anew by itself";
    if (kind == LDAP_RES_EXTENDED) {
        char *words = nullptr;
        int code = LDAP_SUCCESS;
        const int parsed =
            ldap_parse_result(ld_, message, &code, nullptr, &words, nullptr, nullptr, 0);
        problem.diagnostic = takeLdapText(words);
        problem.code = parsed == LDAP_SUCCESS ? code : parsed;
        problem.reason = "the server ended the registration; later events are lost";
    } else if (kind < 0) {
        problem.code = failureCode(ld_);
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
        MessagePtr message;
        const int kind = next(message, Clock::time_point::max());
        if (kind == LDAP_RES_INTERMEDIATE)
            takeEvent(message.get());
        else if (kind != 0)
            failToGoOn(kind, message.get());
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
    abandon(ld_, id_);
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
