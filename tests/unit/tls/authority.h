// authority.h - certificates of the test's own, made with OpenSSL.
#pragma once

#include <memory>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <string>

namespace test {

template <auto release>
struct Release {
    template <class T>
    void operator()(T *value) const {
        release(value);
    }
};

using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;

struct Issued {
    Certificate certificate;
    Key key;

    [[nodiscard]] std::string pem() const;
    [[nodiscard]] std::string der() const;
    [[nodiscard]] std::string keyPem() const;
};

// What a certificate says; times in days from now.
struct Statement {
    std::string name = "server";
    std::string alternativeNames = "DNS:localhost,IP:127.0.0.1"; // as in OpenSSL's configuration
    int from = -1;
    int to = 1;
};

class Authority {
  public:
    explicit Authority(const std::string &name = "Test CA");

    [[nodiscard]] const Issued &own() const { return own_; }
    [[nodiscard]] Issued issue(const Statement &statement = {}) const;

  private:
    Issued own_;
};

} // namespace test
