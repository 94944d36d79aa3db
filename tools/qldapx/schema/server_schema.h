#pragma once

#include "command.h"
#include "schema/model.h"

#include <qldapx.hpp>

namespace qldapx {

/** The keyword that sets a field: a structure rule's name form has another one than it is read as.
 */
std::string libraryKeyword(Kind kind, const std::string &keyword);
/** A field's values as the library stores them: it escapes nothing by itself. */
std::vector<std::string> storedValues(Kind kind, const Field &field);

/** The schema of the run's server, through the library. All of it throws Failure. */
class ServerSchema {
  public:
    /** Fetches it; an empty DN is the root DSE's. */
    ServerSchema(Run &run, const std::string &dn);

    [[nodiscard]] const std::string &dn() const { return dn_; }
    /** All of it, also what the library leaves out; what nobody can read is reported. */
    [[nodiscard]] Model model() const;

    /** Edits, noted by the library until they are saved. */
    void add(const Element &element);
    /** False when the library cannot write or would not read the result: nothing was changed. */
    bool modify(const Element &element, LDAPMod **fields);
    void remove(const Element &element);
    /** An element's description now; empty when it is not there. */
    [[nodiscard]] std::string description(const Element &element) const;
    void save();

  private:
    void addLeftOut(Model &model) const;
    void edit(const Element &element, const result<void> &done) const;

    Run &run_;
    std::string dn_;
    schema::schema handle_;
};

} // namespace qldapx
