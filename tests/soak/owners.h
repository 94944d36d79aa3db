// owners.h - owners of what the libraries hand out.
#pragma once

#include <ldap.h>
#include <memory>
#include <qldapx.h>

namespace soak {

template <auto release>
struct Releaser {
    template <class T>
    void operator()(T *p) const {
        release(p);
    }
};

inline void releaseList(char **list) {
    ber_memvfree(reinterpret_cast<void **>(list));
}

inline void releaseStrings(char **list) {
    for (char **item = list; *item != nullptr; ++item)
        ldapx_memfree(*item);
    ldapx_memfree(list);
}

using MessagePtr = std::unique_ptr<LDAPMessage, Releaser<ldap_msgfree>>;
using ControlPtr = std::unique_ptr<LDAPControl, Releaser<ldap_control_free>>;
using ControlsPtr = std::unique_ptr<LDAPControl *, Releaser<ldap_controls_free>>;
using TextPtr = std::unique_ptr<char, Releaser<ldapx_memfree>>;
using LdapTextPtr = std::unique_ptr<char, Releaser<ldap_memfree>>;
using ListPtr = std::unique_ptr<char *, Releaser<releaseList>>;
using StringsPtr = std::unique_ptr<char *, Releaser<releaseStrings>>;
using SchemaPtr = std::unique_ptr<LDAPSchema, Releaser<ldap_schema_free>>;
using EventPtr = std::unique_ptr<void, Releaser<ldap_event_free>>;

/** Lends an empty owner to a function that stores its result through a pointer. */
template <class Owner>
class Out {
  public:
    explicit Out(Owner &owner) : owner_(owner) {}
    ~Out() { owner_.reset(value_); }
    Out(const Out &) = delete;
    Out &operator=(const Out &) = delete;
    operator typename Owner::pointer *() { return &value_; }

  private:
    Owner &owner_;
    typename Owner::pointer value_ = nullptr;
};

template <class Owner>
Out<Owner> out(Owner &owner) {
    return Out<Owner>(owner);
}

/** The interface declares as char * what it only reads. */
inline char *arg(const std::string &text) {
    return const_cast<char *>(text.c_str());
}

} // namespace soak
