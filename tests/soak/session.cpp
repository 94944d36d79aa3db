#include "session.h"

#include <stdexcept>

namespace soak {

Session::Session(const std::string &uri, std::chrono::seconds patience) {
    if (ldap_initialize(&ld_, uri.c_str()) != LDAP_SUCCESS)
        throw std::runtime_error("ldap_initialize " + uri);
    setOptions(patience);
}

Session::Session(LDAP *ld, std::chrono::seconds patience) : ld_(ld) {
    if (ld_ == nullptr)
        throw std::runtime_error("no session");
    setOptions(patience);
}

Session::~Session() {
    ldap_unbind_ext_s(ld_, nullptr, nullptr);
}

void Session::setOptions(std::chrono::seconds patience) {
    const int version = LDAP_VERSION3;
    const timeval time{patience.count(), 0};
    ldap_set_option(ld_, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld_, LDAP_OPT_TIMEOUT, &time);
    ldap_set_option(ld_, LDAP_OPT_NETWORK_TIMEOUT, &time);
}

int Session::bind(const std::string &dn, const std::string &password) {
    std::string secret = password;
    berval credentials{secret.size(), secret.data()};
    return ldap_sasl_bind_s(ld_, dn.c_str(), LDAP_SASL_SIMPLE, &credentials, nullptr, nullptr,
                            nullptr);
}

Url::Url(const std::string &uri)
    : host(uri.substr(uri.find("//") + 2)), port(std::stoi(uri.substr(uri.rfind(':') + 1))),
      isSecure(uri.starts_with("ldaps")) {
    host.erase(host.rfind(':'));
}

} // namespace soak
