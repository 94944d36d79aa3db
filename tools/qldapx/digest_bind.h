#pragma once

#include "secret.h"

#include <ldap.h>
#include <string>
#include <vector>

namespace qldapx {

/** A bind with DIGEST-MD5. One that was started and is not finished is abandoned. */
class DigestBind {
  public:
    DigestBind() = default;
    ~DigestBind();
    DigestBind(const DigestBind &) = delete;
    DigestBind &operator=(const DigestBind &) = delete;

    /** Both steps give the library's result codes. */
    int start(LDAP *ld);
    int finish(const std::string &user, const Secret &password, const std::string &realm);
    /** The realms that the server offers, in its order, each once. */
    [[nodiscard]] std::vector<std::string> realms() const;

  private:
    /** As the library has them: the last one first, and NULL at the end. */
    [[nodiscard]] char **offered() const;

    void *context_ = nullptr;
};

} // namespace qldapx
