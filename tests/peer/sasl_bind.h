// sasl_bind.h - the library's bind by DIGEST-MD5.
#pragma once

#include <ldap.h>
#include <qldapx.h>
#include <string>
#include <vector>

namespace test {

// What a bind is answered with.
struct DigestAnswer {
    const char *user = nullptr;
    const char *password = nullptr;
    int length = -1;
    int realm = 0;
    int mode = QLDAPX_DIGEST_COMPLETE;
};

class DigestBind {
  public:
    // Expects that the server sends a challenge.
    explicit DigestBind(LDAP *ld);

    // Expects that they are the same array whenever they are asked for.
    [[nodiscard]] std::vector<std::string> realms() const;
    [[nodiscard]] int finish(const DigestAnswer &answer);
    [[nodiscard]] int finish(const std::string &user, const std::string &password);
    // The caller's pointer is not null.
    [[nodiscard]] bool isHeld() const { return context_ != nullptr; }

  private:
    void *context_ = nullptr;
};

// From the start to the end; releases what it must.
int digestBind(LDAP *ld, const std::string &user, const std::string &password);

// From the start to the end with an answer that chooses no realm, so that the string is lost.
int finishWithoutRealm(LDAP *ld, const DigestAnswer &answer);

} // namespace test
