/** control.hpp - LDAP controls (RFC 4511, 4.1.11) that the Strata server knows. */
#ifndef QLDAPX_CXX_CONTROL_HPP
#define QLDAPX_CXX_CONTROL_HPP

#include <qldapx/cxx/session.hpp>

namespace qldapx {

namespace detail {
struct free_control {
    void operator()(LDAPControl *control) const noexcept { ldap_control_free(control); }
};
struct free_controls {
    void operator()(LDAPControl **controls) const noexcept { ldap_controls_free(controls); }
};
} // namespace detail

/** A borrowed control. */
class control_ref : public handle<LDAPControl> {
  public:
    using handle::handle;
    [[nodiscard]] cstring oid() const noexcept { return raw_->ldctl_oid; }
    /** Its value's bytes; none without a value. */
    [[nodiscard]] std::string_view value() const noexcept {
        const berval &value = raw_->ldctl_value;
        return value.bv_val == nullptr ? std::string_view()
                                       : std::string_view(value.bv_val, value.bv_len);
    }
    [[nodiscard]] bool is_critical() const noexcept { return raw_->ldctl_iscritical != 0; }
};

/** A control, released with ldap_control_free. */
class control : public owner<control_ref, detail::free_control> {
  public:
    using owner::owner;
};

/** The controls of an answer; an empty handle has none. */
class control_list_ref : public handle<LDAPControl *> {
  public:
    using handle::handle;
};

/** The controls of an answer, released with ldap_controls_free. */
class control_list : public owner<control_list_ref, detail::free_controls> {
  public:
    using owner::owner;
};

} // namespace qldapx

/**
 * Request controls are made for session_ref::set_controls, or for libldap's functions; what an
 * answer brought is looked for in its control_list. Making fails with LDAP_NO_MEMORY or
 * LDAP_ENCODING_ERROR; looking with LDAP_CONTROL_NOT_FOUND or LDAP_DECODING_ERROR.
 */
namespace qldapx::controls {

/** Whether a server that does not know the control refuses the operation. */
enum class criticality { optional = 0, critical = 1 };

/** The controls that came with an entry. LDAP_DECODING_ERROR. */
[[nodiscard]] inline result<control_list> of_entry(session_ref at, message_ref entry) noexcept {
    LDAPControl **list = nullptr;
    const int code = ldap_get_entry_controls(at.get(), entry.get(), &list);
    return detail::checked(code, control_list(adopt, code == LDAP_SUCCESS ? list : nullptr));
}

/** The controls that came with an operation's result. Not with a chain of messages. */
[[nodiscard]] inline result<control_list> of_result(session_ref at, message_ref answer) noexcept {
    LDAPControl **list = nullptr;
    int outcome = LDAP_SUCCESS;
    const int code =
        ldap_parse_result(at.get(), answer.get(), &outcome, nullptr, nullptr, nullptr, &list, 0);
    return detail::checked(code, control_list(adopt, code == LDAP_SUCCESS ? list : nullptr));
}

/** What a persistent search is to give. */
struct persistent_search_request {
    int change_types;               // a sum of 1 (add), 2 (delete), 4 (modify), 8 (modify DN)
    bool changes_only = true;       // not the entries that match now
    bool with_entry_changes = true; // with each entry, for entry_change
};

/** Keeps a search open for changes (2.16.840.1.113730.3.4.3). */
[[nodiscard]] inline result<control>
persistent_search(session_ref at, const persistent_search_request &wanted,
                  criticality how = criticality::critical) noexcept {
    LDAPControl *made = nullptr;
    const int code = ldap_create_persistentsearch_control(
        at.get(), wanted.change_types, wanted.changes_only ? 1 : 0,
        wanted.with_entry_changes ? 1 : 0, static_cast<char>(how), &made);
    return detail::checked(code, control(adopt, made));
}

/** What happened to an entry of a persistent search. */
struct entry_change_notice {
    int type = 0;              // 1 (add), 2 (delete), 4 (modify) or 8 (modify DN)
    ldap_text previous_dn;     // of a renamed entry, else empty
    std::optional<int> number; // of the change
};

/** Reads what happened to an entry (2.16.840.1.113730.3.4.7). */
[[nodiscard]] inline result<entry_change_notice> entry_change(session_ref at,
                                                              control_list_ref list) noexcept {
    entry_change_notice notice;
    char *previous = nullptr;
    int has_number = 0, number = 0;
    const int code = ldap_parse_entrychange_control(at.get(), list.get(), &notice.type, &previous,
                                                    &has_number, &number);
    notice.previous_dn.reset(previous);
    if (code != LDAP_SUCCESS)
        return unexpected(code);
    if (has_number != 0)
        notice.number = number;
    return notice;
}

/**
 * Carries an operation out as another identity (2.16.840.1.113730.3.4.18); always critical.
 *
 * authz_dn: its DN; becomes the value as it is.
 */
[[nodiscard]] inline result<control> proxied_authorization(session_ref at,
                                                           cstring authz_dn) noexcept {
    LDAPControl *made = nullptr;
    const int code = ldap_create_proxyauth_control(at.get(), authz_dn.c_str(), &made);
    return detail::checked(code, control(adopt, made));
}

/**
 * Asks for the effective rights to the entries of a search (2.16.840.1.907341.1.27.101.33).
 *
 * mode:  0 or 1 is sent as it is; any other one sends the items.
 * items: ended by null; only read. What modes and items mean is the server's.
 *
 * Also LDAP_PARAM_ERROR when items are needed and there are none.
 */
[[nodiscard]] inline result<control>
effective_rights(session_ref at, int mode, const GetEffectiveItem *const *items = nullptr,
                 criticality how = criticality::critical) noexcept {
    LDAPControl *made = nullptr;
    const int code = ldap_create_geteffective_control(
        at.get(), const_cast<GetEffectiveItem **>(items), mode, static_cast<int>(how), &made);
    return detail::checked(code, control(adopt, made));
}

/** Asks for the server's status (2.16.840.1.907341.1.27.101.40): see ldap_create_sstatus_control.
 */
[[nodiscard]] inline result<control>
server_status(session_ref at, const int (&flags)[7],
              criticality how = criticality::critical) noexcept {
    LDAPControl *made = nullptr;
    const int code = ldap_create_sstatus_control(at.get(), const_cast<int *>(flags),
                                                 static_cast<int>(how), &made);
    return detail::checked(code, control(adopt, made));
}

/** The numbers of a server's status. */
struct status {
    int numbers[4] = {};
};

/** Reads the server's status. A number that the server did not send stays as it is in `before`. */
[[nodiscard]] inline result<status> server_status_answer(session_ref at, control_list_ref list,
                                                         status before = {}) noexcept {
    const int code =
        ldap_parse_sstatus_control(at.get(), list.get(), &before.numbers[0], &before.numbers[1],
                                   &before.numbers[2], &before.numbers[3]);
    return detail::checked(code, before);
}

/** Asks for the reference of an answer (2.16.840.1.907341.1.1.5150.101.1). */
[[nodiscard]] inline result<control> reference(session_ref at,
                                               criticality how = criticality::critical) noexcept {
    LDAPControl *made = nullptr;
    const int code = ldap_create_reference_control(at.get(), static_cast<int>(how), &made);
    return detail::checked(code, control(adopt, made));
}

/**
 * Reads the reference of an answer; an empty handle when the server sent none. The C function
 * decodes other strings of the server's and loses them with every call.
 */
[[nodiscard]] inline result<ldap_text> reference_answer(session_ref at,
                                                        control_list_ref list) noexcept {
    char *found = nullptr;
    const int code =
        ldap_parse_reference_control(at.get(), list.get(), nullptr, 0, nullptr, 0, nullptr, &found);
    return detail::checked(code, ldap_text(adopt, found));
}

} // namespace qldapx::controls

#endif
