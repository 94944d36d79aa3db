#include "schema/class_graph.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_set>

namespace qldapx {
namespace {

using Set = std::unordered_set<const Element *>;

void sortByName(std::vector<const Element *> &classes) {
    const auto key = [](const Element *element) {
        return std::tuple(lowerCase(element->title()), element->key, element->description);
    };
    std::sort(classes.begin(), classes.end(),
              [&](const Element *left, const Element *right) { return key(left) < key(right); });
}

/** Those that others of the picture derive from. */
Set withSubclasses(const Model &model, const std::vector<const Element *> &classes) {
    Set result;
    for (const Element *element : classes)
        for (const Element *superior : directSuperiors(model, *element))
            result.insert(superior);
    return result;
}

/** The classes that derive from the chosen ones, at whatever distance. */
void addSubclasses(const Model &model, std::vector<const Element *> &classes, Set &seen) {
    for (std::size_t i = 0; i < classes.size(); ++i)
        for (const Use &use : model.uses(*classes[i]))
            if (use.user->kind == Kind::object_class && seen.insert(use.user).second)
                classes.push_back(use.user);
}

/** Those of the same superiors and kind together, in the order of their first classes. */
std::vector<ClassBundle> bundled(const Model &model, const std::vector<const Element *> &classes) {
    using Place = std::pair<std::vector<const Element *>, std::string>;
    std::map<Place, std::size_t> places;
    std::vector<ClassBundle> bundles;
    for (const Element *element : classes) {
        const auto above = directSuperiors(model, *element);
        const char *kind = classKind(*element);
        const auto [place, isNew] = places.emplace(Place{above, kind}, bundles.size());
        if (isNew)
            bundles.push_back({above, kind, {}});
        bundles[place->second].classes.push_back(element);
    }
    return bundles;
}

bool isOutermost(const Model &model, const ClassBundle &bundle) {
    return std::all_of(
        bundle.superiors.begin(), bundle.superiors.end(),
        [&](const Element *superior) { return directSuperiors(model, *superior).empty(); });
}

} // namespace

const char *classKind(const Element &element) {
    for (const char *kind : {"ABSTRACT", "AUXILIARY"})
        if (element.has(kind))
            return kind;
    return "STRUCTURAL";
}

std::vector<const Element *> directSuperiors(const Model &model, const Element &element) {
    std::vector<const Element *> result;
    for (const std::string &name : element.values("SUP")) {
        const Element *superior = model.resolve(Kind::object_class, name);
        if (superior != nullptr && superior != &element &&
            std::find(result.begin(), result.end(), superior) == result.end())
            result.push_back(superior);
    }
    return result;
}

std::vector<const Element *>
relatedClasses(const Model &model, const std::vector<const Element *> &chosen, bool below) {
    Set seen(chosen.begin(), chosen.end());
    std::vector<const Element *> classes(seen.begin(), seen.end());
    sortByName(classes);
    if (below)
        addSubclasses(model, classes, seen);
    for (const Element *element : std::vector(classes))
        for (const Element *superior : superiors(model, *element))
            if (seen.insert(superior).second)
                classes.push_back(superior);
    return classes;
}

ClassGraph groupClasses(const Model &model, const std::vector<const Element *> &classes) {
    constexpr std::size_t fewest = 4; // a table for less says no more than the nodes
    constexpr std::size_t large = 15;
    const Set inner = withSubclasses(model, classes);
    std::vector<const Element *> sorted = classes;
    sortByName(sorted);
    ClassGraph graph;
    std::copy_if(sorted.begin(), sorted.end(), std::back_inserter(graph.classes),
                 [&](const Element *element) { return inner.contains(element); });
    std::erase_if(sorted, [&](const Element *element) { return inner.contains(element); });
    for (ClassBundle &bundle : bundled(model, sorted))
        // Nearly all classes are right below the topmost one: edges would say nothing more, and
        // push the others away.
        if (classes.size() > large && isOutermost(model, bundle))
            graph.apart.push_back(std::move(bundle));
        else if (bundle.classes.size() >= fewest)
            graph.bundles.push_back(std::move(bundle));
        else
            graph.classes.insert(graph.classes.end(), bundle.classes.begin(), bundle.classes.end());
    sortByName(graph.classes);
    return graph;
}

} // namespace qldapx
