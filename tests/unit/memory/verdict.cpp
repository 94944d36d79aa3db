#include "memory/verdict.h"

#include "extops/operations.h"
#include "memory/exported.h"

#include <algorithm>
#include <cstdlib>
#include <set>

namespace qldapx_test::memory {
namespace {

// Functions that call one of a neighbour's which does not survive every failure, by itself.
const std::map<std::string, const char *> callers = {
    {"dup_element", "libldap:ldap_str2attributetype"},
    {"get_schema_dn", "libldap:ldap_search_ext_s"},
    {"ldap_backup_object", "libldap:ldap_extended_operation_s"},
    {"ldap_bind_digest_md5_finish", "libldap:ldap_sasl_bind_s"},
    {"ldap_bind_digest_md5_start", "libldap:ldap_sasl_bind_s"},
    {"ldap_lburp_end_request", "libldap:ldap_extended_operation"},
    {"ldap_lburp_operation_request", "libldap:ldap_extended_operation"},
    {"ldap_lburp_start_request", "libldap:ldap_extended_operation"},
    {"ldap_monitor_events", "libldap:ldap_extended_operation"},
    {"ldap_monitor_events_filtered", "libldap:ldap_extended_operation"},
    {"ldap_parse_lburp_end_response", "libldap:ldap_parse_result"},
    {"ldap_parse_lburp_operation_response", "libldap:ldap_parse_result"},
    {"ldap_parse_lburp_start_response", "libldap:ldap_parse_result"},
    {"ldap_parse_monitor_events_response", "libldap:ldap_extended_operation_s"},
    {"ldap_restore_object", "libldap:ldap_extended_operation_s"},
    {"ldap_schema_fetch", "libldap:ldap_search_ext_s"},
    {"ldap_schema_modify", "libldap:ldap_str2attributetype"},
    {"ldap_schema_save", "libldap:ldap_modify_ext_s"},
    {"ldap_str2attributetype", "libldap:ldap_str2attributetype"},
    {"ldap_str2ditcontentrule", "libldap:ldap_str2contentrule"},
    {"ldap_str2matchingrule", "libldap:ldap_str2matchingrule"},
    {"ldap_str2matchingruleuse", "libldap:ldap_str2matchingruleuse"},
    {"ldap_str2nameform", "libldap:ldap_str2nameform"},
    {"ldap_str2objectclass", "libldap:ldap_str2objectclass"},
    {"ldap_str2syntax", "libldap:ldap_str2syntax"},
    {"ldap_url_search", "libldap:ldap_search_ext_s"},
    {"ldap_url_search_s", "libldap:ldap_search_ext_s"},
    {"ldap_url_search_st", "libldap:ldap_search_ext_s"},
    {"ldapssl_init", "libldap:ldap_initialize"},
    {"carrier:handshake", "openssl:SSL_connect"},
    {"carrier:refusal", "openssl:SSL_connect"},
    {"carrier:request", "libldap:ldap_sasl_bind_s"},
    {"carrier:resumption", "openssl:SSL_connect"},
    {"dump_certs_keys_buf", "openssl:PEM_write_bio_PrivateKey"},
    {"dump_certs_keys_p12", "openssl:PEM_write_bio_PrivateKey"},
    {"dump_certs_pkeys_bag", "openssl:PEM_write_bio_PrivateKey"},
    {"dump_certs_pkeys_bags", "openssl:PEM_write_bio_PrivateKey"},
    {"ldapssl_add_trusted_cert", "openssl:PEM_read_bio_X509"},
    {"ldapssl_client_init", "openssl:PEM_read_bio_X509"},
    {"ldapssl_set_client_cert", "openssl:PEM_read_bio_X509"},
    {"ldapssl_set_client_private_key", "openssl:PEM_read_bio_PrivateKey"},
    {"pkcs12_BIO_to_clear_BIO", "openssl:PEM_write_bio_PrivateKey"},
};

// Those that go on to libldap's bind, which meets its own assertions.
const std::set<std::string> goingOnToBind = {"carrier:handshake", "carrier:resumption"};
constexpr char libldapsBind[] = "libldap:ldap_sasl_bind_s";

// See CONVENTIONS.md, Memory.
const std::set<std::string> losingByContract = {
    "ldap_bind_digest_md5_finish",
    "ldap_create_proxyauth_control",
    "ldap_parse_lburp_operation_response",
    "ldap_parse_reference_control",
    "ldap_schema_fetch",
    "ldap_schema_get_field_names",
    "ldapssl_init",
};

bool isOperation(const std::string &function) {
    const auto operations = allOperations();
    return std::any_of(operations.begin(), operations.end(), [&](const OperationCase &operation) {
        return function == exportedNameIn(operation.name);
    });
}

// The neighbour's function; "" for none.
std::string calledBy(const std::string &function) {
    const auto found = callers.find(function);
    if (found != callers.end())
        return found->second;
    return isOperation(function) ? "libldap:ldap_extended_operation_s" : "";
}

// OpenSSL loses blocks at few places, which a run that leaves some out may not meet.
long mayLose(const std::string &neighbour, const Record &record) {
    constexpr long ofOpenSsl = 4;
    return neighbour.starts_with("openssl:") ? ofOpenSsl : std::labs(record.mostLost);
}

// An assertion that has no memory for its own words ends the process just so.
constexpr char wordless[] = "Aborted";

std::string listed(const std::set<std::string> &texts) {
    std::string list;
    for (const std::string &text : texts)
        if (text != wordless || texts.size() == 1)
            list += (list.empty() ? "" : "; ") + text;
    return list;
}

std::string excessBeyond(const Record &record, const std::string &neighbour, const Record &alone) {
    if (record.tried == 0 && record.allocates)
        return "none of its allocations was tried";
    if (!record.complaints.empty())
        return listed(record.complaints);
    for (const std::string &end : record.ends)
        if (alone.ends.count(end) == 0)
            return "ends the process: " + end;
    if (std::labs(record.mostLost) > mayLose(neighbour, alone))
        return "loses " + std::to_string(record.mostLost) + " blocks";
    return "";
}

} // namespace

bool isNeighbour(const std::string &function) {
    return function.starts_with(libldapAlone) || function.starts_with("openssl:");
}

std::string verdictOn(const std::string &function, const Record &record) {
    if (record.tried == 0 && !record.allocates)
        return "allocates nothing";
    const std::string neighbour = calledBy(function);
    std::string verdict = neighbour.empty() ? "clean" : "clean but for `" + neighbour + "`";
    if (goingOnToBind.count(function) > 0)
        verdict += " and `" + std::string(libldapsBind) + "`";
    if (losingByContract.count(function) > 0)
        verdict += ", loses by contract";
    return verdict;
}

std::string excessOf(const std::string &function, const Records &records) {
    const Record &record = records.at(function);
    const std::string neighbour = calledBy(function);
    Record alone = neighbour.empty() ? Record() : records.at(neighbour);
    if (goingOnToBind.count(function) > 0)
        alone.ends.insert(records.at(libldapsBind).ends.begin(),
                          records.at(libldapsBind).ends.end());
    const std::string excess = excessBeyond(record, neighbour, alone);
    if (!excess.empty())
        return excess;
    return (record.lostByContract > 0) == (losingByContract.count(function) > 0)
               ? ""
               : "loses " + std::to_string(record.lostByContract) + " blocks by contract";
}

std::string deedsOf(const Record &record) {
    std::string deeds;
    if (record.ended > 0)
        deeds = "ends the process: " + listed(record.ends);
    if (record.lost > 0)
        deeds += (deeds.empty() ? "" : "; ") + ("loses up to " + std::to_string(record.mostLost)) +
                 (record.mostLost == 1 ? " block" : " blocks");
    if (!record.complaints.empty())
        deeds += (deeds.empty() ? "" : "; ") + listed(record.complaints);
    return deeds.empty() ? "clean" : deeds;
}

} // namespace qldapx_test::memory
