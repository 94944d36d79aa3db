#include "system/load_peer_tree.h"

#include "peer/directory.h"
#include "support/ber.h"

#include <algorithm>
#include <fmt/format.h>

namespace test {
namespace {

using namespace qldapx_test;

std::string takeText(char *text) {
    std::string taken = text;
    ldap_memfree(text);
    return taken;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), ::tolower);
    return text;
}

Entry entryOf(LDAP *ld, LDAPMessage *message) {
    Entry entry;
    BerElement *position = nullptr;
    for (char *type = ldap_first_attribute(ld, message, &position); type != nullptr;
         type = ldap_next_attribute(ld, message, position)) {
        berval **values = ldap_get_values_len(ld, message, type);
        auto &all = entry[lowerCase(takeText(type))];
        for (int i = 0; values != nullptr && values[i] != nullptr; ++i)
            all.emplace(values[i]->bv_val, values[i]->bv_len);
        ldap_value_free_len(values);
    }
    ber_free(position, 0);
    return entry;
}

LDAPMessage *nextMessage(LDAP *ld, int id) {
    timeval patience{60, 0};
    LDAPMessage *message = nullptr;
    if (ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message) <= 0)
        throw std::runtime_error("no answer to a search");
    return message;
}

// The control of a change: SEQUENCE { changeType, [0] changeNumber } for a modify.
long numberOf(LDAP *ld, LDAPMessage *entry) {
    LDAPControl **controls = nullptr;
    berval number{};
    long result = -1;
    if (ldap_get_entry_controls(ld, entry, &controls) == LDAP_SUCCESS && controls != nullptr) {
        BerElement *ber = ber_init(&controls[0]->ldctl_value);
        ber_len_t length = 0;
        ber_skip_tag(ber, &length);
        ber_skip_element(ber, &number);
        if (ber_skip_element(ber, &number) != LBER_ERROR)
            for (ber_len_t i = result = 0; i < number.bv_len; ++i)
                result = result << 8 | static_cast<unsigned char>(number.bv_val[i]);
        ber_free(ber, 1);
    }
    ldap_controls_free(controls);
    return result;
}

int watch(LDAP *ld, const std::string &dn) {
    char oid[] = "2.16.840.1.113730.3.4.3";
    Bytes value = sequence({integer(15), tlv(1, "\xff"), tlv(1, "\xff")});
    LDAPControl control{oid, {value.size(), value.data()}, 1};
    LDAPControl *controls[] = {&control, nullptr};
    int id = 0;
    if (ldap_search_ext(ld, dn.c_str(), LDAP_SCOPE_BASE, nullptr, nullptr, 0, controls, nullptr,
                        nullptr, 0, &id) != LDAP_SUCCESS)
        throw std::runtime_error("no persistent search");
    return id;
}

void describeEntry(LDAP *ld, const std::string &dn) {
    char type[] = "description", text[] = "counted";
    char *values[] = {text, nullptr};
    LDAPMod mod{};
    mod.mod_op = LDAP_MOD_REPLACE;
    mod.mod_type = type;
    mod.mod_values = values;
    LDAPMod *mods[] = {&mod, nullptr};
    if (ldap_modify_ext_s(ld, dn.c_str(), mods, nullptr, nullptr) != LDAP_SUCCESS)
        throw std::runtime_error("no change of " + dn);
}

std::string attributeDifference(const std::string &dn, const Entry &expected, const Entry &given) {
    std::string names;
    for (const auto &[type, values] : expected)
        if (given.count(type) == 0 || given.at(type) != values)
            names += fmt::format(" {} ({}, not {})", type,
                                 given.count(type) == 0 ? 0 : given.at(type).size(), values.size());
    for (const auto &[type, values] : given)
        if (expected.count(type) == 0)
            names += fmt::format(" {} too much", type);
    return fmt::format("{}:{}\n", dn, names);
}

} // namespace

PeerSession::PeerSession(const std::string &uri, const std::string &dn, const std::string &password)
    : ld_(openSession(uri, dn, password)) {}

PeerSession::~PeerSession() {
    ldap_unbind_ext_s(ld_, nullptr, nullptr);
}

Tree PeerSession::subtree(const std::string &base) const {
    Tree tree;
    int id = 0;
    ldap_search_ext(ld_, base.c_str(), LDAP_SCOPE_SUBTREE, nullptr, nullptr, 0, nullptr, nullptr,
                    nullptr, LDAP_NO_LIMIT, &id);
    for (;;) {
        LDAPMessage *message = nextMessage(ld_, id);
        const bool isEntry = ldap_msgtype(message) == LDAP_RES_SEARCH_ENTRY;
        if (isEntry)
            tree[normalizedDn(takeText(ldap_get_dn(ld_, message)))] = entryOf(ld_, message);
        ldap_msgfree(message);
        if (!isEntry)
            return tree;
    }
}

long PeerSession::changeNumber(const std::string &dn) const {
    const int id = watch(ld_, dn);
    describeEntry(ld_, dn);
    LDAPMessage *entry = nextMessage(ld_, id);
    const long number = numberOf(ld_, entry);
    ldap_msgfree(entry);
    ldap_abandon_ext(ld_, id, nullptr, nullptr);
    return number;
}

std::string differences(const Tree &expected, const Tree &given) {
    constexpr std::size_t most = 5;
    std::string words;
    std::size_t count = 0;
    for (const auto &[dn, entry] : expected) {
        const auto found = given.find(dn);
        if (found != given.end() && found->second == entry)
            continue;
        if (++count <= most)
            words += found == given.end() ? dn + " is missing\n"
                                          : attributeDifference(dn, entry, found->second);
    }
    for (const auto &[dn, entry] : given)
        if (expected.count(dn) == 0 && ++count <= most)
            words += dn + " is too much\n";
    return count == 0 ? "" : words + fmt::format("{} entries differ\n", count);
}

} // namespace test
