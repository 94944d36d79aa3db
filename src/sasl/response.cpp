#include "sasl/response.h"

#include "core/handle.h"
#include "qldapx/md5.h"
#include "qldapx/random_pool.h"
#include "sasl/qop.h"

#include <cstring>
#include <string_view>

namespace qldapx {
namespace {

constexpr const char *clientMethod = "AUTHENTICATE";

// A digest over texts.
class Hash {
  public:
    Hash() { MD5Init(&context_); }
    Hash(const Hash &) = delete;
    Hash &operator=(const Hash &) = delete;

    Hash &operator<<(std::string_view text) {
        MD5Update(&context_, text.data(), text.size());
        return *this;
    }
    void finish(unsigned char (&digest)[md5Size]) { MD5Final(digest, &context_); }
    void finish(char (&hex)[hexSize]) {
        unsigned char digest[md5Size];
        finish(digest);
        ConvertHex(digest, hex);
    }

  private:
    QldapxMD5Context context_;
};

std::string_view asText(const unsigned char (&digest)[md5Size]) {
    return {reinterpret_cast<const char *>(digest), md5Size};
}

constexpr char smallDigits[] = "0123456789abcdef";

// Eight digits and a zero.
void writeHex(unsigned number, char (&out)[9]) {
    for (int i = 7; i >= 0; --i, number >>= 4)
        out[i] = smallDigits[number & 15];
    out[8] = '\0';
}

// A text in a buffer of the size of a response; what does not fit spoils it.
class ResponseText {
  public:
    explicit ResponseText(char *buffer) : buffer_(buffer) {}

    ResponseText &operator<<(std::string_view text) {
        fits_ = fits_ && text.size() < responseSize - size_;
        if (fits_) {
            std::memcpy(buffer_ + size_, text.data(), text.size());
            size_ += text.size();
            buffer_[size_] = '\0';
        }
        return *this;
    }
    [[nodiscard]] bool fits() const { return fits_; }
    [[nodiscard]] std::size_t size() const { return size_; }

  private:
    char *buffer_;
    std::size_t size_ = 0;
    bool fits_ = true;
};

// A challenge that has been read offers the first.
const char *chooseQop(int options) {
    for (std::size_t i = 0; i < qopNames.size(); ++i)
        if ((options >> i & 1) != 0)
            return qopNames[i];
    return "";
}

// What the client's response and the server's proof have in common.
class DigestExchange {
  public:
    DigestExchange(const char *hostName, const char *cnonce, int nonceCount,
                   const DigestChallenge &challenge)
        : challenge_(challenge), cnonce_(cnonce), qop_(chooseQop(challenge.qopOptions)) {
        constexpr std::string_view service = "ldap/";
        const std::size_t length = std::strlen(hostName);
        digestUri_.reset(static_cast<char *>(std::malloc(service.size() + length + 1)));
        if (digestUri_) {
            std::memcpy(digestUri_.get(), service.data(), service.size());
            std::memcpy(digestUri_.get() + service.size(), hostName, length + 1);
        }
        writeHex(static_cast<unsigned>(nonceCount), count_);
    }

    [[nodiscard]] bool hasUri() const { return digestUri_ != nullptr; }
    [[nodiscard]] const char *digestUri() const { return digestUri_.get(); }
    [[nodiscard]] const char *qop() const { return qop_; }
    [[nodiscard]] const char *count() const { return count_; }

    void calculate(const char *userName, const char *realm, const char *password,
                   std::size_t passwordLength, bool withMethod, char (&out)[hexSize]) const {
        char ha1[hexSize];
        DigestCalcHA1(challenge_.algorithm, userName, realm, password, passwordLength,
                      challenge_.nonce, cnonce_, ha1);
        DigestCalcResponse(ha1, challenge_.nonce, count_, cnonce_, qop_, clientMethod, digestUri(),
                           withMethod, out);
        explicit_bzero(ha1, sizeof ha1);
    }

  private:
    const DigestChallenge &challenge_;
    const char *cnonce_;
    const char *qop_;
    HeapPtr digestUri_;
    char count_[9];
};

} // namespace

// The low half of a byte comes first, in upper case: to the server it is an opaque text.
int getNonce(char (&out)[nonceSize]) {
    constexpr char digits[] = "0123456789ABCDEF";
    unsigned char bytes[(nonceSize - 1) / 2] = {};
    const int result = XRAND_bytes(bytes, sizeof bytes);
    std::memset(out, 0, sizeof out);
    for (std::size_t i = 0; result == 0 && i < sizeof bytes; ++i) {
        out[2 * i] = digits[bytes[i] & 15];
        out[2 * i + 1] = digits[bytes[i] >> 4];
    }
    return result;
}

void ConvertHex(const unsigned char (&digest)[md5Size], char (&out)[hexSize]) {
    for (std::size_t i = 0; i < md5Size; ++i) {
        out[2 * i] = smallDigits[digest[i] >> 4];
        out[2 * i + 1] = smallDigits[digest[i] & 15];
    }
    out[hexSize - 1] = '\0';
}

void DigestCalcHA1(const char *algorithm, const char *userName, const char *realm,
                   const char *password, std::size_t passwordLength, const char *nonce,
                   const char *cnonce, char (&out)[hexSize]) {
    unsigned char digest[md5Size];
    Hash secret;
    secret << userName << ":" << realm << ":" << std::string_view(password, passwordLength);
    secret.finish(digest);
    if (std::strcmp(algorithm, "md5-sess") == 0) {
        Hash session;
        session << asText(digest) << ":" << nonce << ":" << cnonce;
        session.finish(digest);
    }
    ConvertHex(digest, out);
    explicit_bzero(digest, sizeof digest);
}

void DigestCalcResponse(const char (&ha1Hex)[hexSize], const char *nonce, const char *nonceCount,
                        const char *cnonce, const char *qop, const char *method,
                        const char *digestUri, bool withMethod, char (&out)[hexSize]) {
    char ha2[hexSize];
    Hash a2;
    a2 << (withMethod ? method : "") << ":" << digestUri;
    // Not for auth-conf, although RFC 2831 has it there, too: kept as it always was.
    if (std::strcmp(qop, "auth-int") == 0)
        a2 << ":00000000000000000000000000000000";
    a2.finish(ha2);
    Hash response;
    response << ha1Hex << ":" << nonce << ":";
    if (*qop != '\0')
        response << nonceCount << ":" << cnonce << ":" << qop << ":";
    response << ha2;
    response.finish(out);
}

int createDigestResponse(const char *userName, const char *password, std::size_t passwordLength,
                         const char *realm, const char *hostName, const char *cnonce,
                         int nonceCount, const DigestChallenge *challenge, berval *response) {
    *response = {0, nullptr};
    HeapPtr buffer(static_cast<char *>(std::malloc(responseSize)));
    const DigestExchange exchange(hostName, cnonce, nonceCount, *challenge);
    if (!buffer || !exchange.hasUri())
        return LDAP_NO_MEMORY;
    char value[hexSize];
    exchange.calculate(userName, realm, password, passwordLength, true, value);
    ResponseText text(buffer.get());
    text << "username=\"" << userName << "\"";
    if (*realm != '\0')
        text << ",realm=\"" << realm << "\"";
    text << ",cnonce=\"" << cnonce << "\",nc=" << exchange.count() << ",qop=" << exchange.qop()
         << ",digest-uri=\"" << exchange.digestUri() << "\",response=" << value
         << ",charset=utf-8,nonce=\"" << challenge->nonce << "\"";
    // Nonce and realm are as long as the server likes.
    if (!text.fits())
        return LDAP_PARAM_ERROR;
    *response = {text.size(), buffer.release()};
    return LDAP_SUCCESS;
}

int validateServerResponse(const char *userName, const char *password, std::size_t passwordLength,
                           const char *realm, const char *hostName, const char *cnonce,
                           int nonceCount, const DigestChallenge *challenge,
                           berval *serverCredentials) {
    HeapPtr proof;
    if (const int result = getResponseAuth(serverCredentials, Out(proof)); result != LDAP_SUCCESS)
        return result;
    const DigestExchange exchange(hostName, cnonce, nonceCount, *challenge);
    if (!exchange.hasUri())
        return LDAP_NO_MEMORY;
    char expected[hexSize];
    exchange.calculate(userName, realm, password, passwordLength, false, expected);
    const bool isProved = proof && std::strcmp(proof.get(), expected) == 0;
    return isProved ? LDAP_SUCCESS : LDAP_INVALID_CREDENTIALS;
}

} // namespace qldapx
