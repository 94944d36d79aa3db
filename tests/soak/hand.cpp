#include "hand.h"

#include "support/modifications.h"

namespace soak {

Hand::Hand(Place place, Tally &tally, Beat &beat, unsigned seed)
    : place_(std::move(place)), tally_(tally), beat_(beat), random_(seed) {}

Hand::~Hand() = default;

Session &Hand::session() {
    if (session_ == nullptr)
        session_ = another(adminDn, adminPassword);
    return *session_;
}

std::unique_ptr<Session> Hand::another(const std::string &dn, const std::string &password) {
    auto session = std::make_unique<Session>(place_.uri, longPatience);
    expect("ldap_sasl_bind_s", session->bind(dn, password));
    return session;
}

void Hand::expect(const std::string &call, int code, int wanted) {
    beat_.going();
    tally_.count(place_.group, call, code);
    if (code != wanted)
        throw Trouble(call + " gave " + std::to_string(code) + ", not " + std::to_string(wanted));
}

void Hand::verify(bool holds, const std::string &what) {
    if (!holds)
        throw Trouble(what);
}

int Hand::below(int end) {
    return std::uniform_int_distribution<int>(0, end - 1)(random_);
}

std::string Hand::bytes(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += static_cast<char>(below(256));
    return text;
}

std::string Hand::letters(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += static_cast<char>('a' + below(26));
    return text;
}

std::string Hand::freshDn(const std::string &prefix) {
    return "cn=" + prefix + "-" + std::to_string(freshNumber()) + "," + place_.area;
}

void Hand::makeArea() {
    const std::string name = place_.area.substr(3, place_.area.find(',') - 3);
    qldapx_test::Modifications mods;
    mods.bytes(LDAP_MOD_ADD, "objectClass", {"organizationalUnit"})
        .bytes(LDAP_MOD_ADD, "ou", {name});
    expect("ldap_add_ext_s",
           ldap_add_ext_s(session(), place_.area.c_str(), mods.list(), nullptr, nullptr));
}

void Hand::removeArea() {
    expect("ldap_delete_ext_s",
           ldap_delete_ext_s(session(), place_.area.c_str(), nullptr, nullptr));
}

} // namespace soak
