// pkcs12_der.h - PKCS #12 (RFC 7292) written by hand, also such as no program writes.
#pragma once

#include "support/ber.h"

#include <cstdint>
#include <string_view>

namespace qldapx_test::tls {

// "1.2.840.113549"
Bytes objectId(std::string_view dotted);

// Attributes, with any number of values; a bag takes them one after the other.
Bytes attribute(std::string_view type, std::initializer_list<Bytes> values);
// friendlyName; the text is ASCII.
Bytes named(std::string_view text);
// localKeyID
Bytes keyId(const Bytes &id);
// As bigEndian 16 bit characters.
Bytes bmpString(std::string_view text);

// A bag: its type (the last number of its OID), what it holds, its attributes (none: no set).
Bytes bag(int type, const Bytes &value, const Bytes &attributes = "");
Bytes certificateBag(const Bytes &der, const Bytes &attributes = "");
// As the above with a certificate that is not X.509.
Bytes foreignCertificateBag(const Bytes &text, const Bytes &attributes = "");
Bytes keyBag(const Bytes &pkcs8, const Bytes &attributes = "");
// algorithm: see below.
Bytes shroudedKeyBag(const Bytes &algorithm, const Bytes &ciphertext, const Bytes &attributes = "");
Bytes nestedBag(std::initializer_list<Bytes> bags, const Bytes &attributes = "");

// How something is encrypted: by PKCS #12's own derivation with triple DES, by PBES2 with PBKDF2 or
// scrypt and AES-256-CBC.
Bytes tripleDes(std::int64_t rounds);
Bytes pbkdf2(std::int64_t rounds);
Bytes scrypt(std::int64_t n, std::int64_t r, std::int64_t p);

// Safes: in clear, encrypted, and of any other type of content.
Bytes safe(std::initializer_list<Bytes> bags);
Bytes encryptedSafe(const Bytes &algorithm, const Bytes &ciphertext);
Bytes otherSafe(std::string_view type, const Bytes &content);

Bytes mac(std::int64_t rounds);
// mac: empty for none.
Bytes pkcs12(std::initializer_list<Bytes> safes, const Bytes &mac = "");

} // namespace qldapx_test::tls
