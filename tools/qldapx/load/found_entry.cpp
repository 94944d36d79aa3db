#include "load/found_entry.h"

#include "load/request_controls.h"

namespace qldapx {
namespace {

struct FreeValues {
    void operator()(berval **values) const { ldap_value_free_len(values); }
};
using ValuesPtr = std::unique_ptr<berval *, FreeValues>;

ValuesPtr valuesOf(LDAP *ld, LDAPMessage *entry, const char *attribute) {
    return ValuesPtr(entry == nullptr ? nullptr : ldap_get_values_len(ld, entry, attribute));
}

std::vector<char *> pointers(std::vector<std::string> &names) {
    std::vector<char *> result;
    for (std::string &name : names)
        result.push_back(name.data());
    result.push_back(nullptr);
    return result;
}

int ask(LDAP *ld, const std::string &dn, const std::vector<std::string> &attributes, int &id) {
    char manageDsaIt[] = LDAP_CONTROL_MANAGEDSAIT;
    LDAPControl control = {manageDsaIt, {0, nullptr}, 0};
    std::array<LDAPControl *, 2> own = {&control, nullptr};
    RequestControls controls(ld, own.data());
    std::vector<std::string> names = {LDAP_ALL_USER_ATTRIBUTES};
    names.insert(names.end(), attributes.begin(), attributes.end());
    return ldap_search_ext(ld, dn.c_str(), LDAP_SCOPE_BASE, "(objectClass=*)",
                           pointers(names).data(), 0, controls.list(), nullptr, nullptr,
                           LDAP_NO_LIMIT, &id);
}

} // namespace

FoundEntry::FoundEntry(Channel &channel, std::string dn, const std::vector<std::string> &attributes)
    : channel_(channel), dn_(std::move(dn)) {
    int id = 0;
    channel.require(ask(channel.ld(), dn_, attributes, id));
    while (true) {
        Answer answer = channel.receive(id);
        const int kind = answer.message.type();
        if (kind == LDAP_RES_SEARCH_ENTRY)
            entry_ = std::move(answer.message);
        if (kind != LDAP_RES_SEARCH_RESULT)
            continue;
        const Refusal result = channel.refusal(answer);
        if (result.code == LDAP_SUCCESS || result.code == LDAP_NO_SUCH_OBJECT)
            return;
        throw Failure({"load",
                       dn_,
                       result.code,
                       ldap_err2string(result.code),
                       "the entry must be looked at, since its update is in doubt",
                       result.text,
                       {},
                       {}});
    }
}

void FoundEntry::choose(const char *attribute) {
    if (chosen_ == attribute)
        return;
    chosen_ = attribute;
    values_.clear();
    const ValuesPtr values = valuesOf(channel_.ld(), entry_.get(), attribute);
    for (berval **each = values.get(); each != nullptr && *each != nullptr; ++each)
        values_.emplace((*each)->bv_val, (*each)->bv_len);
}

std::size_t FoundEntry::count(const char *attribute) {
    choose(attribute);
    return values_.size();
}

bool FoundEntry::has(const char *attribute, berval &value) {
    choose(attribute);
    if (values_.empty() || values_.contains(std::string(value.bv_val, value.bv_len)))
        return !values_.empty();
    int id = 0;
    channel_.require(
        ldap_compare_ext(channel_.ld(), dn_.c_str(), attribute, &value, nullptr, nullptr, &id));
    return channel_.refusal(channel_.receive(id)).code == LDAP_COMPARE_TRUE;
}

bool FoundEntry::hasAll(const char *attribute, berval **values) {
    for (; values != nullptr && *values != nullptr; ++values)
        if (!has(attribute, **values))
            return false;
    return true;
}

bool FoundEntry::hasNone(const char *attribute, berval **values) {
    for (; values != nullptr && *values != nullptr; ++values)
        if (has(attribute, **values))
            return false;
    return true;
}

} // namespace qldapx
