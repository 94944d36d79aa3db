/** schema_element.hpp - elements of a schema and their fields. */
#ifndef QLDAPX_CXX_SCHEMA_ELEMENT_HPP
#define QLDAPX_CXX_SCHEMA_ELEMENT_HPP

#include <qldapx/cxx/session.hpp>

namespace qldapx::schema {

/** The kinds of schema elements. */
enum class kind : unsigned {
    attribute_type = LDAP_SCHEMA_ATTRIBUTE_TYPE,
    object_class = LDAP_SCHEMA_OBJECT_CLASS,
    syntax = LDAP_SCHEMA_SYNTAX,
    matching_rule = LDAP_SCHEMA_MATCHING_RULE,
    matching_rule_use = LDAP_SCHEMA_MATCHING_RULE_USE,
    name_form = LDAP_SCHEMA_NAME_FORM,
    dit_content_rule = LDAP_SCHEMA_DIT_CONTENT_RULE,
    dit_structure_rule = LDAP_SCHEMA_DIT_STRUCTURE_RULE
};

namespace detail {

template <class Record>
struct kind_of;
template <>
struct kind_of<LDAPAttributeType> : std::integral_constant<kind, kind::attribute_type> {};
template <>
struct kind_of<LDAPObjectClass> : std::integral_constant<kind, kind::object_class> {};
template <>
struct kind_of<LDAPSyntax> : std::integral_constant<kind, kind::syntax> {};
template <>
struct kind_of<LDAPMatchingRule> : std::integral_constant<kind, kind::matching_rule> {};
template <>
struct kind_of<LDAPMatchingRuleUse> : std::integral_constant<kind, kind::matching_rule_use> {};
template <>
struct kind_of<LDAPNameForm> : std::integral_constant<kind, kind::name_form> {};
template <>
struct kind_of<LDAPContentRule> : std::integral_constant<kind, kind::dit_content_rule> {};
template <>
struct kind_of<LDAPDITStructureRule> : std::integral_constant<kind, kind::dit_structure_rule> {};

} // namespace detail

/** An element's description, as it stands in the subschema subentry (RFC 4512, 4.2). */
struct description {
    text value;
    cstring attribute; // that it is a value of
};

/**
 * An element. It is the schema's, which must live, and is not kept beyond an edit. Several threads
 * may read at once while none edits.
 */
class element : public handle<LDAPSchemaElement> {
  public:
    using handle::handle;

    [[nodiscard]] schema::kind kind() const noexcept {
        return static_cast<schema::kind>(raw_->kind);
    }
    /** What its description says, as libldap's record of its kind; null for another kind. */
    template <class Record>
    [[nodiscard]] const Record *record() const noexcept {
        return kind() == detail::kind_of<Record>::value ? static_cast<const Record *>(raw_->record)
                                                        : nullptr;
    }

    /** The keywords (RFC 4512, 4.1) of the fields that it has. LDAP_NO_MEMORY. */
    [[nodiscard]] result<text_list> field_names() const noexcept {
        char **names = nullptr;
        const int code = ldap_schema_get_field_names(raw_, &names);
        return qldapx::detail::checked(code, text_list(adopt, names));
    }
    /**
     * The values of a field.
     *
     * keyword: as field_names gives it, in any case.
     *
     * LDAP_NO_SUCH_ATTRIBUTE when it does not have the field; LDAP_NO_MEMORY.
     */
    [[nodiscard]] result<text_list> field_values(cstring keyword) const noexcept {
        char **values = nullptr;
        const int code = ldap_schema_get_field_values(raw_, keyword.c_str(), &values);
        if (code == LDAP_SUCCESS && values == nullptr)
            return unexpected(LDAP_NO_MEMORY);
        return qldapx::detail::checked(code, text_list(adopt, values));
    }
    /** Its description. LDAP_LOCAL_ERROR when it cannot be written. */
    [[nodiscard]] result<schema::description> description() const noexcept {
        char *value = nullptr;
        const char *attribute = "";
        const int code = ldap_schema_element_to_string(raw_, &value, &attribute);
        if (code != LDAP_SUCCESS)
            return unexpected(code);
        return schema::description{text(adopt, value), attribute};
    }
};

/** All elements of a kind, in the order of their OIDs. Edits end it. */
class element_range {
  public:
    class iterator {
      public:
        using value_type = element;
        using reference = element;
        using pointer = void;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        constexpr iterator() noexcept = default;
        constexpr iterator(LDAPSchema *schema, schema::kind of, int index) noexcept
            : schema_(schema), kind_(of), index_(index) {}
        element operator*() const noexcept {
            LDAPSchemaElement *found = nullptr;
            ldap_schema_get_by_index(schema_, index_, static_cast<unsigned>(kind_), &found);
            return element(borrow, found);
        }
        constexpr iterator &operator++() noexcept {
            ++index_;
            return *this;
        }
        constexpr iterator operator++(int) noexcept {
            const iterator before = *this;
            ++index_;
            return before;
        }
        friend constexpr bool operator==(const iterator &a, const iterator &b) noexcept {
            return a.index_ == b.index_;
        }
        friend constexpr bool operator!=(const iterator &a, const iterator &b) noexcept {
            return a.index_ != b.index_;
        }

      private:
        LDAPSchema *schema_ = nullptr;
        schema::kind kind_ = {};
        int index_ = 0;
    };

    constexpr element_range(LDAPSchema *schema, schema::kind of, int count) noexcept
        : schema_(schema), kind_(of), count_(count) {}
    [[nodiscard]] constexpr iterator begin() const noexcept { return {schema_, kind_, 0}; }
    [[nodiscard]] constexpr iterator end() const noexcept { return {schema_, kind_, count_}; }
    [[nodiscard]] constexpr int size() const noexcept { return count_; }

  private:
    LDAPSchema *schema_;
    schema::kind kind_;
    int count_;
};

/** The records of all elements of a kind: what their descriptions say. Edits end it. */
template <class Record>
class record_range {
  public:
    class iterator {
      public:
        using value_type = Record;
        using reference = const Record &;
        using pointer = const Record *;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        constexpr iterator() noexcept = default;
        constexpr explicit iterator(element_range::iterator at) noexcept : at_(at) {}
        const Record &operator*() const noexcept {
            return *static_cast<const Record *>((*at_).get()->record);
        }
        const Record *operator->() const noexcept { return &**this; }
        constexpr iterator &operator++() noexcept {
            ++at_;
            return *this;
        }
        constexpr iterator operator++(int) noexcept { return iterator(at_++); }
        friend constexpr bool operator==(const iterator &a, const iterator &b) noexcept {
            return a.at_ == b.at_;
        }
        friend constexpr bool operator!=(const iterator &a, const iterator &b) noexcept {
            return a.at_ != b.at_;
        }

      private:
        element_range::iterator at_;
    };

    constexpr explicit record_range(element_range elements) noexcept : elements_(elements) {}
    [[nodiscard]] constexpr iterator begin() const noexcept { return iterator(elements_.begin()); }
    [[nodiscard]] constexpr iterator end() const noexcept { return iterator(elements_.end()); }
    [[nodiscard]] constexpr int size() const noexcept { return elements_.size(); }

  private:
    element_range elements_;
};

} // namespace qldapx::schema

#endif
