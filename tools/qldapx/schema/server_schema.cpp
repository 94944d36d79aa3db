#include "schema/server_schema.h"

#include "errors.h"
#include "schema/field_list.h"

#include <ldap_schema.h>

namespace qldapx {
namespace {

struct FreeMemory {
    void operator()(char *text) const { ldapx_memfree(text); }
};

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
    char *dn = nullptr;
    run.perform("", [&](LDAP *ld) { return get_schema_dn(ld, &dn); });
    const std::unique_ptr<char, FreeMemory> owner(dn);
    return dn;
}

/** What the library finds an element by: its key, unless that would be taken for a name. */
std::string lookupKey(const Element &element) {
    const bool isOid = !element.key.empty() && element.key[0] >= '0' && element.key[0] <= '9';
    return isOid ? element.key : element.title();
}

unsigned numberOf(const Element &element) {
    return static_cast<unsigned>(element.kind);
}

} // namespace

std::string libraryKeyword(Kind kind, const std::string &keyword) {
    return kind == Kind::StructureRule && sameText(keyword, "FORM") ? "OC" : keyword;
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
        LDAPSchema *schema = nullptr;
        run.perform(dn_, [&](LDAP *ld) { return ldap_schema_fetch(ld, &schema, dn_.c_str()); });
        handle_.reset(schema);
    } catch (const Failure &failure) {
        explainFetch(failure);
    }
}

Model ServerSchema::model() const {
    Model model;
    for (const Kind kind : allKinds) {
        const auto number = static_cast<unsigned>(kind);
        const int count = ldap_schema_get_count(handle_.get(), number);
        for (int i = 0; i < count; ++i) {
            LDAPSchemaElement *element = nullptr;
            if (ldap_schema_get_by_index(handle_.get(), i, number, &element) == LDAP_SUCCESS)
                model.add(readElement(*element));
        }
    }
    return model;
}

void ServerSchema::edit(const Element &element, int code) const {
    if (code == LDAP_SUCCESS)
        return;
    if (code == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    Problem problem;
    problem.operation = run_.name();
    problem.object = element.title();
    problem.code = code;
    problem.name = ldap_err2string(code);
    problem.reason = "the library cannot make this change; nothing was sent";
    throw Failure(std::move(problem));
}

void ServerSchema::add(const Element &element) {
    FieldList fields;
    for (const Field &field : element.fields)
        fields.add(LDAP_MOD_ADD, libraryKeyword(element.kind, field.keyword),
                   storedValues(element.kind, field));
    edit(element, ldap_schema_add(handle_.get(), numberOf(element), fields.mods()));
}

bool ServerSchema::modify(const Element &element, LDAPMod **fields) {
    const int code =
        ldap_schema_modify(handle_.get(), lookupKey(element).c_str(), numberOf(element), fields);
    if (code == LDAP_LOCAL_ERROR)
        return false;
    edit(element, code);
    return true;
}

void ServerSchema::remove(const Element &element) {
    edit(element, ldap_schema_delete(handle_.get(), numberOf(element), lookupKey(element).c_str()));
}

std::string ServerSchema::description(const Element &element) const {
    LDAPSchemaElement *found = nullptr;
    const int code = ldap_schema_get_by_name(handle_.get(), lookupKey(element).c_str(),
                                             numberOf(element), &found);
    return code == LDAP_SUCCESS ? readElement(*found).description : std::string();
}

void ServerSchema::save() {
    run_.perform(dn_, [&](LDAP *ld) { return ldap_schema_save(ld, handle_.get(), dn_.c_str()); });
}

} // namespace qldapx
