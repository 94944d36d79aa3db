#include "tls/facts.h"

#include "text.h"

#include <arpa/inet.h>
#include <array>
#include <cstdlib>
#include <fmt/format.h>
#include <new>
#include <openssl/err.h>
#include <openssl/pem.h>

namespace qldapx {
namespace {

constexpr std::size_t maxText = 1000;
constexpr std::size_t maxNames = 100;

using NamesPtr = std::unique_ptr<GENERAL_NAMES, OpensslRelease<GENERAL_NAMES_free>>;

std::string shortened(std::string_view text) {
    if (text.size() <= maxText)
        return std::string(text);
    return fmt::format("{}... ({} bytes)", text.substr(0, maxText), text.size());
}

BioPtr newMemory() {
    BioPtr memory(BIO_new(BIO_s_mem()));
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

std::string_view textOf(BIO *memory) {
    char *data = nullptr;
    const long size = BIO_get_mem_data(memory, &data);
    return {data, size > 0 ? static_cast<std::size_t>(size) : 0};
}

std::string_view bytesOf(const ASN1_STRING *string) {
    return {reinterpret_cast<const char *>(ASN1_STRING_get0_data(string)),
            static_cast<std::size_t>(ASN1_STRING_length(string))};
}

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes.substr(0, maxText))
        text += fmt::format("{}{:02X}", text.empty() ? "" : ":", static_cast<unsigned char>(byte));
    return text;
}

std::string addressText(std::string_view bytes) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const bool isKnown = bytes.size() == sizeof(in_addr) || bytes.size() == sizeof(in6_addr);
    if (!isKnown)
        return "IP:" + hexadecimal(bytes);
    const int family = bytes.size() == sizeof(in_addr) ? AF_INET : AF_INET6;
    return fmt::format("IP:{}", inet_ntop(family, bytes.data(), text.data(), text.size()));
}

std::string nameText(const GENERAL_NAME *name) {
    switch (name->type) {
    case GEN_DNS:
        return "DNS:" + shortened(bytesOf(name->d.dNSName));
    case GEN_EMAIL:
        return "email:" + shortened(bytesOf(name->d.rfc822Name));
    case GEN_URI:
        return "URI:" + shortened(bytesOf(name->d.uniformResourceIdentifier));
    case GEN_IPADD:
        return addressText(bytesOf(name->d.iPAddress));
    case GEN_DIRNAME:
        return "DN:" + distinguishedName(name->d.directoryName);
    default:
        return "another kind of name";
    }
}

void addNames(X509 *certificate, CertificateFacts &facts) {
    const NamesPtr names(static_cast<GENERAL_NAMES *>(
        X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    const int count = names == nullptr ? 0 : sk_GENERAL_NAME_num(names.get());
    facts.nameCount = static_cast<std::size_t>(count);
    for (int i = 0; i < count && facts.names.size() < maxNames; ++i)
        facts.names.push_back(nameText(sk_GENERAL_NAME_value(names.get(), i)));
}

void addKey(X509 *certificate, CertificateFacts &facts) {
    EVP_PKEY *key = X509_get0_pubkey(certificate);
    const char *type = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
    facts.keyType = type == nullptr ? "unknown" : type;
    facts.keyBits = key == nullptr ? 0 : EVP_PKEY_get_bits(key);
}

std::string timeText(const ASN1_TIME *time) {
    std::tm parts = {};
    if (ASN1_TIME_to_tm(time, &parts) != 1)
        return "not readable";
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + 1900,
                       parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

/** How far away a time is. */
struct Distance {
    int sign = 0; // -1: it is past, or now; 0: it cannot be read
    std::string text;
};

std::string counted(int count, const char *unit) {
    return fmt::format("{} {}{}", count, unit, count == 1 ? "" : "s");
}

Distance distanceTo(const ASN1_TIME *time) {
    int days = 0, seconds = 0;
    if (ASN1_TIME_diff(&days, &seconds, nullptr, time) != 1)
        return {};
    const int sign = days > 0 || seconds > 0 ? 1 : -1;
    const int hours = std::abs(seconds) / 3600, minutes = std::abs(seconds) / 60;
    if (days != 0)
        return {sign, counted(std::abs(days), "day")};
    return {sign, hours != 0 ? counted(hours, "hour") : counted(minutes, "minute")};
}

std::string validityText(const X509 *certificate) {
    const Distance begin = distanceTo(X509_get0_notBefore(certificate));
    const Distance end = distanceTo(X509_get0_notAfter(certificate));
    if (end.sign < 0)
        return fmt::format("expired {} ago", end.text);
    if (begin.sign > 0)
        return fmt::format("begins in {}", begin.text);
    return end.sign == 0 ? "not readable" : fmt::format("ends in {}", end.text);
}

std::string fingerprintOf(const X509 *certificate) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    X509_digest(certificate, EVP_sha256(), digest.data(), &size);
    return hexadecimal({reinterpret_cast<const char *>(digest.data()), size});
}

} // namespace

std::string CertificateFacts::nameList(std::size_t longest) const {
    std::string list;
    std::size_t shown = 0;
    for (; shown < names.size() && shown < longest; ++shown)
        list += (list.empty() ? "" : ", ") + printable(names[shown]);
    if (shown < nameCount)
        list += fmt::format(" and {} more", nameCount - shown);
    return list;
}

CertificateFacts factsOf(X509 *certificate) {
    CertificateFacts facts;
    facts.subject = distinguishedName(X509_get_subject_name(certificate));
    facts.issuer = distinguishedName(X509_get_issuer_name(certificate));
    facts.notBefore = timeText(X509_get0_notBefore(certificate));
    facts.notAfter = timeText(X509_get0_notAfter(certificate));
    facts.validity = validityText(certificate);
    addNames(certificate, facts);
    addKey(certificate, facts);
    const char *signature = OBJ_nid2ln(X509_get_signature_nid(certificate));
    facts.signature = signature == nullptr ? "unknown" : signature;
    facts.serial = hexadecimal(bytesOf(X509_get0_serialNumber(certificate)));
    facts.fingerprint = fingerprintOf(certificate);
    ERR_clear_error();
    return facts;
}

std::string distinguishedName(const X509_NAME *name) {
    const BioPtr memory = newMemory();
    // UTF-8 stays; control characters and zero bytes are escaped.
    constexpr unsigned long asLdapWritesIt = XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB;
    if (X509_NAME_print_ex(memory.get(), name, 0, asLdapWritesIt) < 0)
        return "not readable";
    return shortened(textOf(memory.get()));
}

std::string pemOf(X509 *certificate) {
    const BioPtr memory = newMemory();
    PEM_write_bio_X509(memory.get(), certificate);
    return std::string(textOf(memory.get()));
}

} // namespace qldapx
