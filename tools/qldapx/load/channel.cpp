#include "load/channel.h"

#include "interruption.h"
#include "messages.h"

namespace qldapx {

Channel::Channel(Run &run, int timeout) : run_(run), timeout_(timeout) {
    run.perform({}, [this](LDAP *ld) {
        session_ = session_ref(borrow, ld);
        // A signal that comes while libldap looks for answers is no end of the connection.
        return ldap_set_option(ld, LDAP_OPT_RESTART, LDAP_OPT_ON);
    });
}

void Channel::fail(int code) {
    run_.perform({}, [code](LDAP *) { return code; });
    throw Failure({"load", {}, code, ldap_err2string(code), {}, {}, {}, {}});
}

void Channel::require(int code) {
    if (code != LDAP_SUCCESS)
        fail(code);
}

Channel::Clock::time_point Channel::deadline() const {
    constexpr std::chrono::seconds longestAtEnd(10);
    return lastSign_ + (Interruption::requested() ? std::min(timeout_, longestAtEnd) : timeout_);
}

void Channel::wait(Clock::time_point until) const {
    constexpr std::chrono::milliseconds second(1000);
    int descriptor = -1;
    ldap_get_option(ld(), LDAP_OPT_DESC, &descriptor);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    const auto longest = std::clamp(left, std::chrono::milliseconds(0), second);
    std::array<pollfd, 1> ends = {{{descriptor, POLLIN, 0}}};
    if (Interruption::requested()) // which would end each wait at once
        poll(ends.data(), ends.size(), static_cast<int>(longest.count()));
    else
        Interruption::wait(ends, longest);
}

Answer Channel::receive(Clock::time_point until) {
    while (true) {
        auto received = session_.wait(LDAP_RES_ANY, std::chrono::microseconds(0));
        if (!received && received.error().code() != LDAP_TIMEOUT)
            fail(failureCode(ld()));
        Answer answer;
        if (received) {
            answer.message = std::move(*received);
            lastSign_ = Clock::now();
        }
        if (answer || Clock::now() >= until)
            return answer;
        const bool wasRequested = Interruption::requested();
        wait(until);
        if (wasRequested || !Interruption::requested())
            continue;
        lastSign_ = Clock::now(); // the time for the last answers begins
        return {};
    }
}

Answer Channel::receive() {
    while (true) {
        Answer answer = receive(deadline());
        if (answer)
            return answer;
        if (Clock::now() >= deadline())
            fail(LDAP_TIMEOUT);
    }
}

Answer Channel::receive(int id) {
    sent();
    while (true) {
        Answer answer = receive();
        if (answer.id() == id)
            return answer;
    }
}

Refusal Channel::refusal(const Answer &answer) const {
    Refusal refusal = {LDAP_SUCCESS, {}};
    char *text = nullptr;
    const int parsed = ldap_parse_result(ld(), answer.message.get(), &refusal.code, nullptr, &text,
                                         nullptr, nullptr, 0);
    refusal.text = std::string(ldap_text(adopt, text));
    if (parsed != LDAP_SUCCESS)
        refusal.code = parsed;
    return refusal;
}

} // namespace qldapx
