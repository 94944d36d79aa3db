#include "core/exchange.h"

#include <cstring>

namespace qldapx {

BerElement *Exchange::newEncoder() {
    // Not LBER_USE_DER: the server knows these requests with the lengths that BER allows.
    encoder_.reset(ber_alloc_t(0));
    return encoder_.get();
}

int Exchange::send(const Operation &operation) {
    if (ber_flatten(encoder_.get(), Out(requestValue_)) == -1)
        return LDAP_NO_MEMORY;
    return call(operation);
}

int Exchange::call(const Operation &operation) {
    // libldap leaves both outputs unset when it fails early; Out starts them as NULL.
    int result = ldap_extended_operation_s(ld_, operation.request, requestValue_.get(), nullptr,
                                           nullptr, Out(responseOid_), Out(responseValue_));
    if (result != LDAP_SUCCESS)
        return result;
    if (responseOid_ == nullptr)
        return LDAP_NOT_SUPPORTED;
    if (operation.response != nullptr && std::strcmp(responseOid_.get(), operation.response) != 0)
        return LDAP_NOT_SUPPORTED;
    return LDAP_SUCCESS;
}

} // namespace qldapx
