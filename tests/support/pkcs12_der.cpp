#include "support/pkcs12_der.h"

#include <cstdint>
#include <cstdlib>

namespace qldapx_test::tls {

namespace {

constexpr char dataType[] = "1.2.840.113549.1.7.1";
constexpr char encryptedType[] = "1.2.840.113549.1.7.6";
constexpr char x509Certificate[] = "1.2.840.113549.1.9.22.1";
constexpr char sdsiCertificate[] = "1.2.840.113549.1.9.22.2";
constexpr unsigned char explicitTag = 0xa0;
constexpr char salt[] = "saltsalt";

Bytes base128(unsigned long number) {
    Bytes bytes(1, static_cast<char>(number & 0x7f));
    while ((number >>= 7) != 0)
        bytes.insert(bytes.begin(), static_cast<char>(0x80 | (number & 0x7f)));
    return bytes;
}

Bytes algorithm(std::string_view type, const Bytes &parameters) {
    return sequence({objectId(type), parameters});
}

Bytes pbes2(const Bytes &derivation) {
    return algorithm(
        "1.2.840.113549.1.5.13",
        sequence({derivation, algorithm("2.16.840.1.101.3.4.1.42", octetString(Bytes(16, 'v')))}));
}

Bytes certificateOf(std::string_view type, const Bytes &value, const Bytes &attributes) {
    return bag(3, sequence({objectId(type), tlv(explicitTag, value)}), attributes);
}

} // namespace

Bytes objectId(std::string_view dotted) {
    const std::string text(dotted);
    char *rest = nullptr;
    const unsigned long first = std::strtoul(text.c_str(), &rest, 10);
    const unsigned long second = std::strtoul(rest + 1, &rest, 10);
    Bytes content = base128(first * 40 + second);
    while (*rest == '.')
        content += base128(std::strtoul(rest + 1, &rest, 10));
    return tlv(0x06, content);
}

Bytes attribute(std::string_view type, std::initializer_list<Bytes> values) {
    return sequence({objectId(type), set(values)});
}

Bytes bmpString(std::string_view text) {
    Bytes characters;
    for (char c : text)
        characters += Bytes(1, '\0') + c;
    return tlv(0x1e, characters);
}

Bytes named(std::string_view text) {
    return attribute("1.2.840.113549.1.9.20", {bmpString(text)});
}

Bytes keyId(const Bytes &id) {
    return attribute("1.2.840.113549.1.9.21", {octetString(id)});
}

Bytes bag(int type, const Bytes &value, const Bytes &attributes) {
    return sequence({objectId("1.2.840.113549.1.12.10.1." + std::to_string(type)),
                     tlv(explicitTag, value), attributes.empty() ? "" : set({attributes})});
}

Bytes certificateBag(const Bytes &der, const Bytes &attributes) {
    return certificateOf(x509Certificate, octetString(der), attributes);
}

Bytes foreignCertificateBag(const Bytes &text, const Bytes &attributes) {
    return certificateOf(sdsiCertificate, tlv(0x16, text), attributes);
}

Bytes keyBag(const Bytes &pkcs8, const Bytes &attributes) {
    return bag(1, pkcs8, attributes);
}

Bytes shroudedKeyBag(const Bytes &algorithm, const Bytes &ciphertext, const Bytes &attributes) {
    return bag(2, sequence({algorithm, octetString(ciphertext)}), attributes);
}

Bytes nestedBag(std::initializer_list<Bytes> bags, const Bytes &attributes) {
    return bag(6, sequence(bags), attributes);
}

Bytes tripleDes(std::int64_t rounds) {
    return algorithm("1.2.840.113549.1.12.1.3", sequence({octetString(salt), integer(rounds)}));
}

Bytes pbkdf2(std::int64_t rounds) {
    const Bytes sha256 = algorithm("1.2.840.113549.2.9", fromHex("05 00"));
    return pbes2(
        algorithm("1.2.840.113549.1.5.12", sequence({octetString(salt), integer(rounds), sha256})));
}

Bytes scrypt(std::int64_t n, std::int64_t r, std::int64_t p) {
    return pbes2(algorithm("1.3.6.1.4.1.11591.4.11",
                           sequence({octetString(salt), integer(n), integer(r), integer(p)})));
}

Bytes otherSafe(std::string_view type, const Bytes &content) {
    return sequence({objectId(type), tlv(explicitTag, content)});
}

Bytes safe(std::initializer_list<Bytes> bags) {
    return otherSafe(dataType, octetString(sequence(bags)));
}

Bytes encryptedSafe(const Bytes &algorithm, const Bytes &ciphertext) {
    return otherSafe(
        encryptedType,
        sequence({integer(0), sequence({objectId(dataType), algorithm, tlv(0x80, ciphertext)})}));
}

Bytes mac(std::int64_t rounds) {
    const Bytes sha1 = algorithm("1.3.14.3.2.26", fromHex("05 00"));
    return sequence(
        {sequence({sha1, octetString(Bytes(20, 'm'))}), octetString(salt), integer(rounds)});
}

Bytes pkcs12(std::initializer_list<Bytes> safes, const Bytes &mac) {
    return sequence({integer(3), safe(safes), mac});
}

} // namespace qldapx_test::tls
