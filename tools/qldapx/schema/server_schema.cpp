#include "schema/server_schema.h"

#include "errors.h"
#include "messages.h"
#include "operation.h"
#include "schema/description.h"
#include "schema/field_list.h"
#include "text.h"

#include <array>
#include <fmt/format.h>
#include <ldap_schema.h>

namespace qldapx {
namespace {

// The library has words of its own for some failures.
[[noreturn]] void explainFetch(const Failure &failure) {
    Problem problem = failure.problem();
    const int code = problem.code.value_or(LDAP_SUCCESS);
    if (code == LDAP_NO_RESULTS_RETURNED) {
        problem.reason = "the root DSE names no subschemaSubentry";
        problem.hint = "name the subschema entry with --dn, as in --dn cn=schema";
    } else if (code == LDAP_LOCAL_ERROR) {
        problem.reason = "the server's schema has a description that cannot be read";
        problem.hint = "look at it: qldapx search -b DN -s base '(objectClass=subschema)' +";
    } else if (code == LDAP_NO_SUCH_OBJECT) {
        problem.hint = "check --dn; without it the root DSE names the subschema entry";
    }
    throw Failure(std::move(problem));
}

std::string ownDn(Run &run) {
    return std::string(performed(run, "", schema::subentry_dn));
}

/** What the library finds an element by: its key, unless that would be taken for a name. */
std::string lookupKey(const Element &element) {
    const bool isOid = !element.key.empty() && element.key[0] >= '0' && element.key[0] <= '9';
    return isOid ? element.key : element.title();
}

struct FreeValues {
    void operator()(berval **values) const { ldap_value_free_len(values); }
};

template <auto parse, auto release>
bool isRead(const char *text) {
    constexpr unsigned flags = LDAP_SCHEMA_ALLOW_NO_OID | LDAP_SCHEMA_ALLOW_QUOTED |
                               LDAP_SCHEMA_ALLOW_DESCR | LDAP_SCHEMA_ALLOW_DESCR_PREFIX;
    int code = 0; // libldap leaves it alone when all is well
    const char *stopped = nullptr;
    auto *record = parse(text, &code, &stopped, flags);
    release(record);
    return record != nullptr && code == 0;
}

/** The kinds of which the library leaves out what libldap does not read. */
struct LenientKind {
    Kind kind;
    bool (*isRead)(const char *text);
};
constexpr std::array lenientKinds = {
    LenientKind{Kind::attribute_type, isRead<ldap_str2attributetype, ldap_attributetype_free>},
    LenientKind{Kind::object_class, isRead<ldap_str2objectclass, ldap_objectclass_free>},
};

/** Adds what was left out, as files are read: with words in the place of OIDs, for one. */
void addLeftOut(Model &model, const LenientKind &lenient, berval **values,
                std::vector<std::string> &faults) {
    for (berval **value = values; value != nullptr && *value != nullptr; ++value) {
        if (lenient.isRead((*value)->bv_val))
            continue;
        const std::string text((*value)->bv_val, (*value)->bv_len);
        ParsedDescription parsed = parseDescription(lenient.kind, text, Reading::Lenient);
        if (parsed.element)
            model.add(std::move(*parsed.element));
        else
            faults.push_back(
                fmt::format("{}: {}", namesOf(lenient.kind).title, printable(parsed.fault)));
    }
}

} // namespace

std::string libraryKeyword(Kind kind, const std::string &keyword) {
    return kind == Kind::dit_structure_rule && sameText(keyword, "FORM") ? "OC" : keyword;
}

std::vector<std::string> storedValues(Kind kind, const Field &field) {
    const Keyword *keyword = keywordOf(kind, field.keyword);
    std::vector<std::string> values = field.values;
    if (keyword == nullptr || keyword->form == Form::Quoted)
        for (std::string &value : values)
            value = escapedText(value);
    return values;
}

ServerSchema::ServerSchema(Run &run, const std::string &dn) : run_(run), dn_(dn) {
    try {
        if (dn_.empty())
            dn_ = ownDn(run);
        handle_ = performed(run, dn_, [&](session_ref at) { return schema::fetch(at, dn_); });
    } catch (const Failure &failure) {
        explainFetch(failure);
    }
}

Model ServerSchema::model() const {
    Model model;
    for (const Kind kind : allKinds)
        for (const schema::element element : handle_.elements(kind))
            model.add(readElement(*element.get()));
    addLeftOut(model);
    return model;
}

void ServerSchema::addLeftOut(Model &model) const {
    std::string types = namesOf(Kind::attribute_type).attribute,
                classes = namesOf(Kind::object_class).attribute;
    std::array<char *, 3> attributes = {types.data(), classes.data(), nullptr};
    LDAP *session = nullptr;
    LDAPMessage *result = nullptr;
    run_.perform(dn_, [&](LDAP *ld) {
        session = ld;
        const int code = ldap_search_ext_s(ld, dn_.c_str(), LDAP_SCOPE_BASE, "(objectClass=*)",
                                           attributes.data(), 0, nullptr, nullptr, nullptr,
                                           LDAP_NO_LIMIT, &result);
        // A notice of disconnection in the place of the answer.
        return code == LDAP_SUCCESS && result == nullptr ? failureCode(ld) : code;
    });
    const message owner(adopt, result);
    LDAPMessage *entry = ldap_first_entry(session, result);
    std::vector<std::string> faults;
    for (const LenientKind &lenient : lenientKinds) {
        const std::unique_ptr<berval *, FreeValues> values(
            entry == nullptr
                ? nullptr
                : ldap_get_values_len(session, entry, namesOf(lenient.kind).attribute));
        qldapx::addLeftOut(model, lenient, values.get(), faults);
    }
    if (!faults.empty())
        warn(fmt::format("{} of the server's descriptions cannot be read and are left out; the "
                         "first is {}",
                         faults.size(), faults.front()),
             run_.out.isJson());
}

void ServerSchema::edit(const Element &element, const qldapx::result<void> &done) const {
    if (done)
        return;
    const int code = done.error().code();
    if (code == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    Problem problem;
    problem.operation = run_.name();
    problem.object = element.title();
    problem.code = code;
    problem.name = std::string(done.error().name());
    problem.reason = "the library cannot make this change; nothing was sent";
    throw Failure(std::move(problem));
}

void ServerSchema::add(const Element &element) {
    FieldList fields;
    for (const Field &field : element.fields)
        fields.add(LDAP_MOD_ADD, libraryKeyword(element.kind, field.keyword),
                   storedValues(element.kind, field));
    edit(element, handle_.add(element.kind, fields.mods()));
}

bool ServerSchema::modify(const Element &element, LDAPMod **fields) {
    const auto done = handle_.modify(element.kind, lookupKey(element), fields);
    if (!done && done.error().code() == LDAP_LOCAL_ERROR)
        return false;
    edit(element, done);
    return true;
}

void ServerSchema::remove(const Element &element) {
    edit(element, handle_.remove(element.kind, lookupKey(element)));
}

std::string ServerSchema::description(const Element &element) const {
    const auto found = handle_.find(element.kind, lookupKey(element));
    return found ? readElement(*found->get()).description : std::string();
}

void ServerSchema::save() {
    performed(run_, dn_, [&](session_ref at) { return handle_.save(at, dn_); });
}

} // namespace qldapx
