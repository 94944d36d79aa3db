// subschema.h - a session with a server that answers every search with one subschema subentry of
// many attribute types, in no order; and the values of that answer.
#pragma once

#include <ldap.h>
#include <string>
#include <vector>

namespace bench {

class Subschema {
  public:
    explicit Subschema(int types);
    ~Subschema();
    Subschema(const Subschema &) = delete;
    Subschema &operator=(const Subschema &) = delete;

    LDAP *session() const { return session_; }
    // Searches as a plain client does.
    LDAPMessage *search() const;

  private:
    LDAP *session_ = nullptr;
    int server_ = -1; // process id
};

inline constexpr char subschemaDn[] = "cn=schema";

} // namespace bench
