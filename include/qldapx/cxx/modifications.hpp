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
        items_.push_back({static_cast<int>(what), type.c_str(), texts_.size(), false});
        for (const char *value : values)
            texts_.push_back(const_cast<char *>(value));
        texts_.push_back(nullptr);
        return *this;
    }
    /** The same for values of any bytes. */
    modifications &add_bytes(change what, cstring type, array_view<std::string_view> values) {
        items_.push_back(
            {static_cast<int>(what) | LDAP_MOD_BVALUES, type.c_str(), bytes_.size(), true});
        for (std::string_view value : values)
            bytes_.push_back({value.size(), const_cast<char *>(value.empty() ? "" : value.data())});
        bytes_.push_back({0, nullptr});
        return *this;
    }
    /** Adds an attribute of a new entry. */
    modifications &attribute(cstring type, array_view<const char *> values) {
        return add(change::add, type, values);
    }

    [[nodiscard]] std::size_t size() const noexcept { return items_.size(); }
    [[nodiscard]] bool empty() const noexcept { return items_.empty(); }
    /** Forgets the list. */
    void clear() noexcept {
        items_.clear();
        texts_.clear();
        bytes_.clear();
    }

    /** The list for a C function, ended by null: this object's, until it is changed. */
    [[nodiscard]] LDAPMod **get() {
        byte_pointers_.clear();
        for (berval &value : bytes_)
            byte_pointers_.push_back(value.bv_val == nullptr ? nullptr : &value);
        mods_.resize(items_.size());
        pointers_.clear();
        for (std::size_t i = 0; i < items_.size(); ++i) {
            fill(mods_[i], items_[i]);
            pointers_.push_back(&mods_[i]);
        }
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

  private:
    struct item {
        int operation;
        const char *type;
        std::size_t first; // of its values
        bool is_bytes;
    };

    void fill(LDAPMod &mod, const item &from) noexcept {
        mod.mod_op = from.operation;
        mod.mod_type = const_cast<char *>(from.type);
        if (from.is_bytes)
            mod.mod_bvalues = &byte_pointers_[from.first];
        else
            mod.mod_values = &texts_[from.first];
    }

    std::vector<item> items_;
    std::vector<char *> texts_; // each item's values, ended by null
    std::vector<berval> bytes_; // the same
    std::vector<berval *> byte_pointers_;
    std::vector<LDAPMod> mods_;
    std::vector<LDAPMod *> pointers_;
};

} // namespace qldapx

#endif
