/** modifications.hpp - lists of attributes and changes, as C functions take them. */
#ifndef QLDAPX_CXX_MODIFICATIONS_HPP
#define QLDAPX_CXX_MODIFICATIONS_HPP

#include <qldapx/cxx/result.hpp>
#include <vector>

namespace qldapx {

/** What a change does with its values (RFC 4511, 4.6). */
enum class change : int {
    add = LDAP_MOD_ADD,
    remove = LDAP_MOD_DELETE,
    replace = LDAP_MOD_REPLACE
};

/**
 * A list of attributes with values, or of changes: LDAPMod ** for C. It borrows the types and
 * values, which must live as long as it is in use; it owns the arrays around them, and keeps their
 * memory when it is cleared, for the next list. Memory that runs out is std::bad_alloc of the
 * standard library's.
 */
class modifications {
  public:
    /** Adds an attribute, or a change, whose values are texts. No values: none. */
    modifications &add(change what, cstring type, array_view<const char *> values) {
        note(static_cast<int>(what), type, texts_.size());
        for (const char *value : values)
            texts_.push_back(const_cast<char *>(value));
        texts_.push_back(nullptr);
        return *this;
    }
    /** The same for values of any bytes. */
    modifications &add_bytes(change what, cstring type, array_view<std::string_view> values) {
        note(static_cast<int>(what) | LDAP_MOD_BVALUES, type, bytes_.size());
        for (std::string_view value : values)
            bytes_.push_back({value.size(), const_cast<char *>(value.empty() ? "" : value.data())});
        bytes_.push_back({0, nullptr});
        return *this;
    }
    /** Adds an attribute of a new entry. */
    modifications &attribute(cstring type, array_view<const char *> values) {
        return add(change::add, type, values);
    }

    [[nodiscard]] std::size_t size() const noexcept { return mods_.size(); }
    [[nodiscard]] bool empty() const noexcept { return mods_.empty(); }
    /** Forgets the list. */
    void clear() noexcept {
        mods_.clear();
        places_.clear();
        texts_.clear();
        bytes_.clear();
    }

    /** The list for a C function, ended by null: this object's, until it is changed. */
    [[nodiscard]] LDAPMod **get() {
        byte_pointers_.clear();
        for (berval &value : bytes_)
            byte_pointers_.push_back(value.bv_val == nullptr ? nullptr : &value);
        pointers_.resize(mods_.size() + 1);
        for (std::size_t i = 0; i < mods_.size(); ++i) {
            LDAPMod &mod = mods_[i];
            if ((mod.mod_op & LDAP_MOD_BVALUES) != 0)
                mod.mod_bvalues = &byte_pointers_[places_[i]];
            else
                mod.mod_values = &texts_[places_[i]];
            pointers_[i] = &mod;
        }
        pointers_.back() = nullptr;
        return pointers_.data();
    }

  private:
    void note(int operation, cstring type, std::size_t place) {
        LDAPMod mod{};
        mod.mod_op = operation;
        mod.mod_type = const_cast<char *>(type.c_str());
        mods_.push_back(mod);
        places_.push_back(place);
    }

    std::vector<LDAPMod> mods_;
    std::vector<std::size_t> places_; // of the first value of each: arrays move while they grow
    std::vector<char *> texts_;       // of each its values, ended by null
    std::vector<berval> bytes_;       // the same
    std::vector<berval *> byte_pointers_;
    std::vector<LDAPMod *> pointers_;
};

} // namespace qldapx

#endif
