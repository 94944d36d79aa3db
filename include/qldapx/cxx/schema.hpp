/** schema.hpp - a server's schema: fetched, searched, edited and saved. */
#ifndef QLDAPX_CXX_SCHEMA_HPP
#define QLDAPX_CXX_SCHEMA_HPP

#include <qldapx/cxx/modifications.hpp>
#include <qldapx/cxx/schema_element.hpp>

namespace qldapx::schema {

/**
 * A borrowed schema. Edits change it at once, and are noted for save. It has no lock: an edit, a
 * save and its release need it for themselves.
 */
class schema_ref : public handle<LDAPSchema> {
  public:
    using handle::handle;

    /** How many elements of a kind there are; 0 for a kind that is none. */
    [[nodiscard]] int count(schema::kind of) const noexcept {
        const int counted = ldap_schema_get_count(raw_, static_cast<unsigned>(of));
        return counted < 0 ? 0 : counted;
    }
    /** The elements of a kind, as a range. */
    [[nodiscard]] element_range elements(schema::kind of) const noexcept {
        return {raw_, of, count(of)};
    }
    /** What the elements say whose record is this one: records<LDAPAttributeType>(). */
    template <class Record>
    [[nodiscard]] record_range<Record> records() const noexcept {
        return record_range<Record>(elements(detail::kind_of<Record>::value));
    }
    /** One of them, from 0 on. LDAP_PARAM_ERROR for an index that none has. */
    [[nodiscard]] result<element> at(schema::kind of, int index) const noexcept {
        LDAPSchemaElement *found = nullptr;
        const int code = ldap_schema_get_by_index(raw_, index, static_cast<unsigned>(of), &found);
        return qldapx::detail::checked(code, element(borrow, found));
    }
    /**
     * Finds an element by name, in any case, or by OID (a structure rule by its id): what begins
     * with a digit. LDAP_NO_SUCH_OBJECT when there is none.
     */
    [[nodiscard]] result<element> find(schema::kind of, cstring name_or_oid) const noexcept {
        LDAPSchemaElement *found = nullptr;
        const int code =
            ldap_schema_get_by_name(raw_, name_or_oid.c_str(), static_cast<unsigned>(of), &found);
        return qldapx::detail::checked(code, element(borrow, found));
    }

    /**
     * Adds an element. The types of fields are keywords, as element::field_names gives them, or
     * names of extensions; see ldap_schema_add for "USAGE" and the name form of a structure rule.
     *
     * LDAP_PARAM_ERROR for no such kind or usage, LDAP_LOCAL_ERROR when the description cannot be
     * written, LDAP_NO_MEMORY; the schema is as it was then.
     */
    result<void> add(schema::kind of, modifications &fields) const { return add(of, fields.get()); }
    /** The same with a list as C has it, ended by null. */
    result<void> add(schema::kind of, LDAPMod **fields) const noexcept {
        return qldapx::detail::checked(ldap_schema_add(raw_, static_cast<unsigned>(of), fields));
    }
    /**
     * Changes fields of an element. Change the key, its OID, by a call of its own: see
     * ldap_schema_modify.
     *
     * Errors as those of add and find; the element is as it was then.
     */
    result<void> modify(schema::kind of, cstring name_or_oid, modifications &fields) const {
        return modify(of, name_or_oid, fields.get());
    }
    /** The same with a list as C has it, ended by null. */
    result<void> modify(schema::kind of, cstring name_or_oid, LDAPMod **fields) const noexcept {
        return qldapx::detail::checked(
            ldap_schema_modify(raw_, name_or_oid.c_str(), static_cast<unsigned>(of), fields));
    }
    /** Takes an element out. Errors as those of find. */
    result<void> remove(schema::kind of, cstring name_or_oid) const noexcept {
        return qldapx::detail::checked(
            ldap_schema_delete(raw_, static_cast<unsigned>(of), name_or_oid.c_str()));
    }

    /**
     * Sends the noted changes in one modify request (RFC 4511, 4.6); none: sends nothing. They are
     * gone afterwards whatever the server answered: after a refusal fetch the schema again.
     *
     * dn: the subschema subentry; nullptr: the one that the root DSE names.
     */
    result<void> save(session_ref at, optional_cstring dn = {}) const noexcept {
        return qldapx::detail::checked(at.get(), ldap_schema_save(at.get(), raw_, dn.c_str()));
    }
};

namespace detail {
struct free_schema {
    void operator()(LDAPSchema *schema) const noexcept { ldap_schema_free(schema); }
};
} // namespace detail

/** A schema, released with its elements and the edits that were not saved. */
class schema : public owner<schema_ref, detail::free_schema> {
  public:
    using owner::owner;
};

/**
 * Reads a server's schema.
 *
 * dn: the subschema subentry; nullptr: the one that the root DSE names.
 *
 * LDAP_NO_RESULTS_RETURNED when the root DSE names none, LDAP_LOCAL_ERROR for a description that
 * does not parse (those of attribute types and object classes are left out instead).
 */
[[nodiscard]] inline result<schema> fetch(session_ref at, optional_cstring dn = {}) noexcept {
    LDAPSchema *fetched = nullptr;
    const int code = ldap_schema_fetch(at.get(), &fetched, dn.c_str());
    if (code != LDAP_SUCCESS) // the C function has released it
        return unexpected(error::of_session(at.get(), code));
    return schema(adopt, fetched);
}

/** The DN of the subschema subentry that the root DSE names. Errors as those of fetch. */
[[nodiscard]] inline result<text> subentry_dn(session_ref at) noexcept {
    char *dn = nullptr;
    const int code = get_schema_dn(at.get(), &dn);
    return qldapx::detail::checked(at.get(), code, text(adopt, dn));
}

} // namespace qldapx::schema

#endif
