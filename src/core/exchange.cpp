#include "core/exchange.h"

#include <cstring>

namespace qldapx {

BerElement *Exchange::newEncoder(int options) {
    encoder_.reset(ber_alloc_t(options));
    return encoder_.get();
}

int Exchange::send(const Operation &operation) {
    berval value{};
    // The encoder's own bytes, without a copy: a value may be an object's whole image.
    if (ber_flatten2(encoder_.get(), &value, 0) == -1)
        return LDAP_NO_MEMORY;
    return perform(operation, &value);
}

int Exchange::start(const char *request, int *msgid) {
    berval value{};
    if (ber_flatten2(encoder_.get(), &value, 0) == -1)
        return LDAP_NO_MEMORY;
    return ldap_extended_operation(ld_, request, &value, nullptr, nullptr, msgid);
}

int Exchange::perform(const Operation &operation, berval *value) {
    // libldap leaves both outputs unset when it fails early; Out starts them as NULL.
    int result = ldap_extended_operation_s(ld_, operation.request, value, nullptr, nullptr,
                                           Out(responseOid_), Out(responseValue_));
    if (result != LDAP_SUCCESS && operation.first == Operation::First::Result)
        return result;
    if (responseOid_ == nullptr)
        return LDAP_NOT_SUPPORTED;
    if (operation.response != nullptr && std::strcmp(responseOid_.get(), operation.response) != 0)
        return LDAP_NOT_SUPPORTED;
    return result;
}

} // namespace qldapx
