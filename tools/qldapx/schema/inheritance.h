#pragma once

#include "schema/model.h"

namespace qldapx {

/** A field that an element has from a superior one. */
struct InheritedField {
    std::string keyword;
    std::vector<std::string> values;
    const Element *from;
};

/** A type's rules and syntax, a class's attributes; the nearest superior's first. */
std::vector<InheritedField> inheritedFields(const Model &model, const Element &element);

/** What is wrong with the elements that it names: those that are missing, a cycle of SUP. */
std::vector<std::string> brokenReferences(const Model &model, const Element &element);

} // namespace qldapx
