#include "schema/dependency.h"

#include <algorithm>
#include <unordered_set>

namespace qldapx {
namespace {

constexpr std::array kindOrder = {
    Kind::syntax,       Kind::matching_rule, Kind::attribute_type,   Kind::matching_rule_use,
    Kind::object_class, Kind::name_form,     Kind::dit_content_rule, Kind::dit_structure_rule};

/** Superior elements before those below them, whatever the order they come in. */
class SuperiorsFirst {
  public:
    explicit SuperiorsFirst(const std::vector<const Element *> &elements) {
        for (const Element *element : elements)
            for (const std::string &name : keysOf(*element))
                named_.emplace(lowerCase(name), element);
        for (const Element *element : elements)
            visit(*element);
    }
    [[nodiscard]] const std::vector<const Element *> &order() const { return order_; }

  private:
    struct Step {
        const Element *element;
        std::size_t next = 0;
    };

    static std::vector<std::string> keysOf(const Element &element) {
        std::vector<std::string> keys = element.names();
        keys.push_back(element.key);
        return keys;
    }

    void visit(const Element &start) {
        std::vector<Step> path;
        enter(start, path);
        while (!path.empty()) {
            Step &step = path.back();
            const auto &superiors = step.element->values("SUP");
            if (step.next == superiors.size()) {
                order_.push_back(step.element);
                path.pop_back();
                continue;
            }
            const auto superior = named_.find(lowerCase(superiors[step.next++]));
            if (superior != named_.end())
                enter(*superior->second, path);
        }
    }

    void enter(const Element &element, std::vector<Step> &path) {
        if (seen_.insert(&element).second)
            path.push_back({&element});
    }

    std::unordered_map<std::string, const Element *> named_;
    std::unordered_set<const Element *> seen_;
    std::vector<const Element *> order_;
};

} // namespace

std::vector<const Element *> inDependencyOrder(const std::vector<const Element *> &elements) {
    std::vector<const Element *> ordered;
    for (const Kind kind : kindOrder) {
        std::vector<const Element *> ofKind;
        std::copy_if(elements.begin(), elements.end(), std::back_inserter(ofKind),
                     [&](const Element *element) { return element->kind == kind; });
        const SuperiorsFirst sorter(ofKind);
        ordered.insert(ordered.end(), sorter.order().begin(), sorter.order().end());
    }
    return ordered;
}

} // namespace qldapx
