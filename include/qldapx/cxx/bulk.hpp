/** bulk.hpp - bulk update (LBURP): operations, batches of them, and their encoder. */
#ifndef QLDAPX_CXX_BULK_HPP
#define QLDAPX_CXX_BULK_HPP

#include <qldapx/cxx/control.hpp>
#include <qldapx/cxx/modifications.hpp>

/** Many update operations in few requests; see lburp.h. bulk_update.hpp sends them. */
namespace qldapx::bulk {

/** One update operation. It borrows all that it points to. */
using operation = ::LBURPOperation;

/** Adds an entry; attributes must not change as long as the operation is in use. */
[[nodiscard]] inline operation add(cstring dn, modifications &attributes,
                                   LDAPControl **controls = nullptr) {
    return {LDAP_REQ_ADD, detail::only_read(dn), attributes.get(), controls};
}
/** Changes an entry; changes must not be touched as long as the operation is in use. */
[[nodiscard]] inline operation modify(cstring dn, modifications &changes,
                                      LDAPControl **controls = nullptr) {
    return {LDAP_REQ_MODIFY, detail::only_read(dn), changes.get(), controls};
}
/** Deletes an entry. */
[[nodiscard]] inline operation remove(cstring dn, LDAPControl **controls = nullptr) noexcept {
    return {LDAP_REQ_DELETE, detail::only_read(dn), nullptr, controls};
}
/**
 * Renames an entry, in the form that a batch has for it: the new RDN is sent as the new superior,
 * too, and the old RDN is deleted. For any other rename use ldap_rename, or encoder::rename.
 */
[[nodiscard]] inline operation rename(cstring dn, cstring new_rdn,
                                      LDAPControl **controls = nullptr) noexcept {
    return {LDAP_REQ_MODDN, detail::only_read(dn), detail::only_read(new_rdn), controls};
}

/** Operations that go in one request, in their order. Keeps its memory when it is cleared. */
class batch {
  public:
    void push_back(const operation &next) { operations_.push_back(next); }
    [[nodiscard]] std::size_t size() const noexcept { return operations_.size(); }
    [[nodiscard]] bool empty() const noexcept { return operations_.empty(); }
    void clear() noexcept { operations_.clear(); }
    /** For a C function, ended by null: this object's, until it is changed. */
    [[nodiscard]] operation **get() {
        pointers_.clear();
        for (operation &each : operations_)
            pointers_.push_back(&each);
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

  private:
    std::vector<operation> operations_;
    std::vector<operation *> pointers_;
};

namespace detail {
using qldapx::detail::checked;
using qldapx::detail::only_read;
struct free_encoder {
    void operator()(BerElement *ber) const noexcept { ber_free(ber, 1); }
};
} // namespace detail

/** A borrowed encoder of liblber's. */
class encoder_ref : public handle<BerElement> {
  public:
    using handle::handle;
};

/**
 * An encoder of operations, for programs that send requests of their own making. A failure leaves
 * it empty, with what it held released: LDAP_ENCODING_ERROR, also when memory ran out.
 */
class encoder : public owner<encoder_ref, detail::free_encoder> {
  public:
    using owner::owner;

    /** One with nothing in it; empty when memory ran out, which every function then says. */
    [[nodiscard]] static encoder make() noexcept { return encoder(adopt, ber_alloc_t(0)); }

    /** Writes an add operation (RFC 4511, 4.7). */
    result<void> add(cstring dn, LDAPMod **attributes, LDAPControl **controls = nullptr) noexcept {
        return raw_ == nullptr ? unusable()
                               : written(LBURPEncodeAdd(nullptr, detail::only_read(dn), attributes,
                                                        controls, raw_));
    }
    /** Writes a modify operation (RFC 4511, 4.6). */
    result<void> modify(cstring dn, LDAPMod **changes, LDAPControl **controls = nullptr) noexcept {
        return raw_ == nullptr ? unusable()
                               : written(LBURPEncodeMod(nullptr, detail::only_read(dn), changes,
                                                        controls, raw_));
    }
    /** Writes a delete operation (RFC 4511, 4.8). */
    result<void> remove(cstring dn, LDAPControl **controls = nullptr) noexcept {
        return raw_ == nullptr
                   ? unusable()
                   : written(LBURPEncodeDelete(nullptr, detail::only_read(dn), controls, raw_));
    }
    /**
     * Writes a modify DN operation.
     *
     * new_superior:   nullptr: the entry stays where it is.
     * delete_old_rdn: removes the values of the old RDN.
     */
    result<void> rename(cstring dn, cstring new_rdn, optional_cstring new_superior,
                        bool delete_old_rdn, LDAPControl **controls = nullptr) noexcept {
        return raw_ == nullptr
                   ? unusable()
                   : written(LBURPEncodeModRDN(
                         nullptr, detail::only_read(dn), detail::only_read(new_rdn),
                         detail::only_read(new_superior), delete_old_rdn ? 1 : 0, controls, raw_));
    }

  private:
    static result<void> unusable() noexcept { return unexpected(LDAP_ENCODING_ERROR); }
    // The C functions release the encoder when they fail.
    result<void> written(int code) noexcept {
        if (code != LDAP_SUCCESS)
            static_cast<void>(release());
        return detail::checked(code);
    }
};

} // namespace qldapx::bulk

#endif
