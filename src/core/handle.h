// handle.h - owners of the C types that the library borrows from liblber, libldap and libc.
//
// Each type has its releaser here, once. Destructors run backwards, so the order in which a
// function declares its owners is the reverse of the order in which it releases them.
#pragma once

#include <cstdlib>
#include <lber.h>
#include <ldap.h>
#include <memory>

namespace qldapx {

template <auto release>
struct Releaser {
    template <class T>
    void operator()(T *p) const {
        release(p);
    }
};

inline void releaseElement(BerElement *ber) {
    ber_free(ber, 1);
}

// For an element whose bytes belong to somebody else.
inline void releaseElementOnly(BerElement *ber) {
    ber_free(ber, 0);
}

using BerElementPtr = std::unique_ptr<BerElement, Releaser<releaseElement>>;
using BorrowingElementPtr = std::unique_ptr<BerElement, Releaser<releaseElementOnly>>;
using BervalPtr = std::unique_ptr<berval, Releaser<ber_bvfree>>;
using LdapStringPtr = std::unique_ptr<char, Releaser<ldap_memfree>>;
using MessagePtr = std::unique_ptr<LDAPMessage, Releaser<ldap_msgfree>>;
using UrlDescriptionPtr = std::unique_ptr<LDAPURLDesc, Releaser<ldap_free_urldesc>>;
using HeapPtr = std::unique_ptr<char, Releaser<std::free>>;

// Lends an empty owner to a C function that stores its result through a T **.
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

} // namespace qldapx
