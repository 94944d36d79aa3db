#include "bulk.h"

namespace soak {
namespace {

int either(int parsed, int code) {
    return parsed != LDAP_SUCCESS ? parsed : code;
}

} // namespace

Batch &Batch::add(const std::string &dn, const std::string &description) {
    dns_.push_back(dn);
    mods_.emplace_back()
        .bytes(LDAP_MOD_ADD, "objectClass", {"person"})
        .bytes(LDAP_MOD_ADD, "cn", {dn.substr(3, dn.find(',') - 3)})
        .bytes(LDAP_MOD_ADD, "sn", {"Bulk"})
        .bytes(LDAP_MOD_ADD, "description", {description});
    operations_.push_back(
        {LDAP_REQ_ADD, dns_.back().data(), static_cast<void *>(mods_.back().list()), nullptr});
    return *this;
}

Batch &Batch::remove(const std::string &dn) {
    dns_.push_back(dn);
    operations_.push_back({LDAP_REQ_DELETE, dns_.back().data(), nullptr, nullptr});
    return *this;
}

LBURPOperation **Batch::list() {
    list_.clear();
    for (LBURPOperation &operation : operations_)
        list_.push_back(&operation);
    list_.push_back(nullptr);
    return list_.data();
}

int Bulk::next(MessagePtr &message) {
    timeval time{patience_.count(), 0};
    const int type = ldap_result(ld_, LDAP_RES_ANY, LDAP_MSG_ONE, &time, out(message));
    if (type > 0)
        return LDAP_SUCCESS;
    return type == 0 ? LDAP_TIMEOUT : LDAP_SERVER_DOWN;
}

int Bulk::start() {
    int id = 0, code = LDAP_OTHER, size = 0;
    MessagePtr answer;
    if (const int sent = ldap_lburp_start_request(ld_, &id); sent != LDAP_SUCCESS)
        return sent;
    if (const int came = next(answer); came != LDAP_SUCCESS)
        return came;
    const int parsed = ldap_parse_lburp_start_response(ld_, answer.get(), &code, nullptr, &size, 0);
    return either(parsed, code);
}

int Bulk::send(int number, Batch &batch) {
    int id = 0;
    return ldap_lburp_operation_request(ld_, number, batch.list(), &id);
}

int Bulk::collect() {
    MessagePtr answer;
    if (const int came = next(answer); came != LDAP_SUCCESS)
        return came;
    int code = LDAP_OTHER, count = 0;
    LBURPOperationFailure *failures = nullptr;
    const int parsed = ldap_parse_lburp_operation_response(ld_, answer.get(), &code, nullptr,
                                                           &count, &failures, 0);
    for (int i = 0; i < count; ++i)
        ldap_memfree(failures[i].errorMessage);
    ldapx_memfree(failures);
    return either(parsed, count > 0 ? LDAP_OTHER : code);
}

int Bulk::end(int lastNumber) {
    int id = 0, code = LDAP_OTHER;
    MessagePtr answer;
    if (const int sent = ldap_lburp_end_request(ld_, lastNumber, &id); sent != LDAP_SUCCESS)
        return sent;
    if (const int came = next(answer); came != LDAP_SUCCESS)
        return came;
    const int parsed = ldap_parse_lburp_end_response(ld_, answer.get(), &code, nullptr, 0);
    return either(parsed, code);
}

} // namespace soak
