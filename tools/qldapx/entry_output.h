#pragma once

#include "search.h"

namespace qldapx {

/** Prints an entry's LDIF record (RFC 2849), with an empty line after it. */
void printLdif(Output &out, const Entry &entry, bool typesOnly = false);
/** A comment of LDIF, one line. */
std::string ldifComment(const std::string &text);

/**
 * The members "dn" and "attributes" of an entry's JSON object, without the braces. A value that
 * is not UTF-8 is {"base64": "..."}.
 */
std::string jsonMembers(const Entry &entry);

/** Prints what a search finds, as it comes: LDIF, or a JSON list of one line an entry. */
class EntryPrinter : public SearchHandler {
  public:
    EntryPrinter(Output &out, bool typesOnly) : out_(out), typesOnly_(typesOnly) {}

    bool entry(LDAP *ld, const Entry &entry, LDAPControl **controls) override;
    void reference(const std::vector<std::string> &uris) override;
    /** Prints what ends the list. */
    void finish();
    [[nodiscard]] std::size_t entries() const { return entries_; }

  private:
    void item(const std::string &json);

    Output &out_;
    bool typesOnly_;
    bool empty_ = true;
    std::size_t entries_ = 0;
};

/** Searches and prints; what came before an error is printed, too. Gives the number of entries. */
std::size_t searchAndPrint(Run &run, const SearchRequest &request);

} // namespace qldapx
