#pragma once

#include "command.h"

#include <ldap.h>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qldapx {

struct SearchRequest {
    std::optional<std::string> base; // without one, libldap's own configuration names it
    int scope = LDAP_SCOPE_SUBTREE;
    std::string filter = "(objectClass=*)";
    std::vector<std::string> attributes; // none: all that the server gives by itself
    bool typesOnly = false;
    std::optional<int> sizeLimit;
    std::optional<int> timeLimit; // seconds
};

/** An attribute of an entry; name and values lie in the entry's message. */
struct Attribute {
    struct Free {
        void operator()(berval *owned) const { ber_memfree(owned); }
    };
    std::string_view name;
    std::span<const berval> values;
    std::unique_ptr<berval, Free> array;
};

struct Entry {
    std::string dn;
    std::vector<Attribute> attributes;
};

/** What a search does with its answers, one at a time as they come. */
class SearchHandler {
  public:
    SearchHandler() = default;
    virtual ~SearchHandler() = default;
    SearchHandler(const SearchHandler &) = delete;
    SearchHandler &operator=(const SearchHandler &) = delete;

    /** An entry and its controls; false ends the search. */
    virtual bool entry(LDAP *ld, const Entry &entry, LDAPControl **controls) = 0;
    virtual void reference(const std::vector<std::string> &uris) = 0;
    /** The search is done, and these controls came with its result; gives a result code. */
    virtual int done(LDAP *ld, LDAPControl **controls);
    /** Waits for a message as ldap_result does. */
    virtual int next(LDAP *ld, int id, LDAPMessage **message);
};

/** Throws UsageError for a filter that is none. */
void checkFilter(const std::string &filter);

void search(Run &run, const SearchRequest &request, SearchHandler &handler);

} // namespace qldapx
