#pragma once

#include "tls/openssl.h"

#include <string>
#include <vector>

namespace stratasim::tls {

/** What is wrong with a server's certificate, for tests of clients. */
enum class Flaw { None, Expired, NotYetValid, WrongName, SelfSigned };

/** A certificate and its key. */
struct Credential {
    Key key;
    Certificate certificate;
};

/** A certification authority of this run's own: its key is never written anywhere. */
class Authority {
  public:
    Authority();

    X509 *certificate() const { return own_.certificate.get(); }
    /** For these host names and IP addresses. */
    Credential issueServer(const std::vector<std::string> &names, Flaw flaw) const;
    /** For the first person of the sample. */
    Credential issueClient() const;

  private:
    Credential own_;
};

std::string pemOf(X509 *certificate);
std::string pemOf(EVP_PKEY *key);

} // namespace stratasim::tls
