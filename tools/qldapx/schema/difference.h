#pragma once

#include "schema/model.h"

namespace qldapx {

/** What became of a field: values lost and gained; of a text or flag at most one each. */
struct FieldChange {
    std::string keyword;
    Form form;
    std::vector<std::string> lost, gained;
};

/** An element that is on one side only, or is not the same on both. */
struct ElementChange {
    const Element *left;  // null: gained
    const Element *right; // null: lost
    std::vector<FieldChange> fields;

    [[nodiscard]] const Element &any() const { return left == nullptr ? *right : *left; }
};

/** Two schemas to compare. Names of either stand for OIDs on both sides. */
struct Comparison {
    const Model &left;
    const Model &right;
    bool extensions; // whether X-... count

    /** By kind, and in it by name. */
    [[nodiscard]] std::vector<ElementChange> changes() const;
    [[nodiscard]] std::vector<FieldChange> fieldChanges(const Element &from,
                                                        const Element &to) const;

  private:
    [[nodiscard]] std::string canonical(const Keyword &keyword, const std::string &value) const;
    void compareField(const Element &from, const Element &to, const Keyword &keyword,
                      std::vector<FieldChange> &changes) const;
};

/** The change in words: "MUST lost a, gained b" or "DESC 'a' -> 'b'"; printable. */
std::string inWords(const FieldChange &change);

} // namespace qldapx
