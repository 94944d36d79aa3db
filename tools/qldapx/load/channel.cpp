#include "load/channel.h"

#include "identity.h"
#include "interruption.h"

namespace qldapx {

Channel::Channel(Run &run, int timeout) : run_(run), timeout_(timeout) {
    run.perform({}, [this](LDAP *ld) {
        ld_ = ld;
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
    ldap_get_option(ld_, LDAP_OPT_DESC, &descriptor);
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
        timeval none{};
        LDAPMessage *message = nullptr;
        const int kind = ldap_result(ld_, LDAP_RES_ANY, LDAP_MSG_ONE, &none, &message);
        Answer answer = {MessagePtr(message)};
        if (kind < 0)
            fail(failureCode(ld_));
        if (answer)
            lastSign_ = Clock::now();
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

Refusal Channel::result(const Answer &answer) const {
    Refusal refusal = {LDAP_SUCCESS, {}};
    char *text = nullptr;
    const int parsed = ldap_parse_result(ld_, answer.message.get(), &refusal.code, nullptr, &text,
                                         nullptr, nullptr, 0);
    refusal.text = takeLdapText(text);
    if (parsed != LDAP_SUCCESS)
        refusal.code = parsed;
    return refusal;
}

} // namespace qldapx
