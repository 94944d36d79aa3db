#pragma once

#include "schema/model.h"

namespace qldapx {

/** What a picture says of a class besides its name. */
enum class GraphDetail { None, Must, Attributes };

/** Classes that hang below the same ones and have none below them, drawn as one table. */
struct ClassBundle {
    std::vector<const Element *> superiors;
    const char *kind; // "ABSTRACT" and so on
    std::vector<const Element *> classes;
};

/** The classes of a picture: those that are drawn one by one, and the others in tables. */
struct ClassGraph {
    std::vector<const Element *> classes;
    std::vector<ClassBundle> bundles;
    std::vector<ClassBundle> apart; // those right below the topmost ones, in a large picture
};

/** The kind's keyword; libldap gives every class one. */
const char *classKind(const Element &element);

/** A class and all above it; with `below` also all that derive from it. */
std::vector<const Element *> relatedClasses(const Model &model,
                                            const std::vector<const Element *> &chosen, bool below);

/** Sorted by name, the same for the same schema. */
ClassGraph groupClasses(const Model &model, const std::vector<const Element *> &classes);

/** The superior classes that are known, each once. */
std::vector<const Element *> directSuperiors(const Model &model, const Element &element);

} // namespace qldapx
