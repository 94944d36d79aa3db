#include "image.h"

#include "result.h"
#include "schema.h"

#include <fmt/format.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <unordered_set>

namespace stratasim::image {
namespace {

constexpr std::string_view kMagic = "STRATIMG";
constexpr std::uint64_t kVersion = 1;
constexpr std::size_t kNumber = 8;
constexpr std::size_t kHead = 3 * kNumber;
constexpr std::size_t kDigest = SHA256_DIGEST_LENGTH;

[[noreturn]] void refuse(std::string_view why) {
    throw OperationError(ResultCode::UnwillingToPerform, fmt::format("the image {}", why));
}

void appendNumber(std::string &out, std::uint64_t number) {
    for (int shift = 56; shift >= 0; shift -= 8)
        out += static_cast<char>(number >> shift);
}

void appendText(std::string &out, std::string_view text) {
    appendNumber(out, text.size());
    out += text;
}

const unsigned char *bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

std::string digestOf(std::string_view bytes) {
    std::string digest(kDigest, '\0');
    SHA256(bytesOf(bytes), bytes.size(), reinterpret_cast<unsigned char *>(digest.data()));
    return digest;
}

std::string makeSalt() {
    constexpr std::size_t size = 16;
    std::string salt(size, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char *>(salt.data()), size) != 1)
        throw OperationError(ResultCode::OperationsError, "no random numbers are to be had");
    return salt;
}

std::string verifierOf(std::string_view password, std::string_view salt) {
    constexpr int rounds = 10000; // some milliseconds
    std::string verifier(kDigest, '\0');
    PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), bytesOf(salt),
                      static_cast<int>(salt.size()), rounds, EVP_sha256(),
                      static_cast<int>(verifier.size()),
                      reinterpret_cast<unsigned char *>(verifier.data()));
    return verifier;
}

/** Bytes of everything that make() writes, so that a large image is put together in one place. */
std::size_t estimate(const Node &node) {
    constexpr std::size_t rest = 256;
    std::size_t size = rest + node.dn.size();
    for (const Attribute &attribute : node.entry.attributes()) {
        size += 2 * kNumber + attribute.name.size();
        for (const std::string &value : attribute.values)
            size += kNumber + value.size();
    }
    return size;
}

void setLength(std::string &image) {
    std::string length;
    appendNumber(length, image.size() + kDigest);
    image.replace(2 * kNumber, kNumber, length);
}

/** Reads what appendNumber() and appendText() write, and never more than there is. */
class Reader {
  public:
    explicit Reader(std::string_view data) : rest_(data) {}

    std::uint64_t number() {
        std::uint64_t number = 0;
        for (const char c : take(kNumber))
            number = (number << 8U) | static_cast<unsigned char>(c);
        return number;
    }
    std::string_view text() { return take(number()); }
    bool atEnd() const { return rest_.empty(); }

  private:
    std::string_view take(std::uint64_t size) {
        if (size > rest_.size())
            refuse("is damaged: something in it is longer than the image");
        const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(size));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view rest_;
};

Attribute readAttribute(Reader &reader) {
    Attribute attribute;
    attribute.name = reader.text();
    attribute.key = schema::keyOf(attribute.name);
    for (std::uint64_t left = reader.number(); left > 0; --left)
        attribute.values.emplace_back(reader.text());
    return attribute;
}

Entry readEntry(Reader &reader) {
    Entry entry;
    std::unordered_set<std::string> keys;
    for (std::uint64_t left = reader.number(); left > 0; --left) {
        Attribute attribute = readAttribute(reader);
        if (attribute.key.empty() || attribute.values.empty() || !keys.insert(attribute.key).second)
            refuse("is damaged: an attribute of it has no name or no value, or is there twice");
        entry.append(std::move(attribute));
    }
    return entry;
}

void requireIntact(std::string_view image) {
    const std::uint64_t length = lengthOf(image);
    if (length != image.size())
        refuse(fmt::format("is to have {} bytes and has {}", length, image.size()));
    const std::size_t content = image.size() - kDigest;
    if (digestOf(image.substr(0, content)) != image.substr(content))
        refuse("is damaged: its check sum is not that of its bytes");
    if (const std::uint64_t version = Reader(image.substr(kNumber)).number(); version != kVersion)
        refuse(fmt::format("has version {}, and this server reads {}", version, kVersion));
}

} // namespace

std::string make(const Node &node, std::string_view password) {
    const std::string salt = makeSalt();
    std::string image;
    image.reserve(estimate(node));
    image += kMagic;
    appendNumber(image, kVersion);
    appendNumber(image, 0); // the length, as soon as it is known
    appendText(image, node.dn);
    appendText(image, salt);
    appendText(image, verifierOf(password, salt));
    appendNumber(image, node.entry.attributes().size());
    for (const Attribute &attribute : node.entry.attributes()) {
        appendText(image, attribute.name);
        appendNumber(image, attribute.values.size());
        for (const std::string &value : attribute.values)
            appendText(image, value);
    }
    setLength(image);
    image += digestOf(image);
    return image;
}

std::uint64_t lengthOf(std::string_view beginning) {
    if (beginning.size() < kHead || !beginning.starts_with(kMagic))
        refuse("does not begin as one: send its pieces in order, the first one first");
    const std::uint64_t length = Reader(beginning.substr(2 * kNumber)).number();
    if (length < kHead + kDigest)
        refuse(fmt::format("is damaged: {} bytes are too few for one", length));
    return length;
}

bool Content::isPassword(std::string_view password) const {
    const std::string given = verifierOf(password, salt);
    return given.size() == verifier.size() &&
           CRYPTO_memcmp(given.data(), verifier.data(), given.size()) == 0;
}

Content open(std::string_view image) {
    requireIntact(image);
    Reader reader(image.substr(kHead, image.size() - kHead - kDigest));
    Content content;
    content.dn = requireDn(reader.text());
    content.salt = reader.text();
    content.verifier = reader.text();
    content.entry = readEntry(reader);
    if (!reader.atEnd())
        refuse("is damaged: there is something after its last value");
    return content;
}

} // namespace stratasim::image
