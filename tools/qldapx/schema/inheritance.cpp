#include "schema/inheritance.h"

#include "text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

void inheritNearest(const Element &element, const std::vector<const Element *> &chain,
                    std::vector<InheritedField> &fields) {
    for (const char *keyword : {"EQUALITY", "ORDERING", "SUBSTR", "SYNTAX"}) {
        const auto has = [&](const Element *each) { return each->has(keyword); };
        const auto from = std::find_if(chain.begin(), chain.end(), has);
        if (!element.has(keyword) && from != chain.end())
            fields.push_back({keyword, (*from)->values(keyword), *from});
    }
}

void inheritAll(const std::vector<const Element *> &chain, std::vector<InheritedField> &fields) {
    for (const Element *superior : chain)
        for (const char *keyword : {"MUST", "MAY"})
            if (superior->has(keyword))
                fields.push_back({keyword, superior->values(keyword), superior});
}

/** Walks up through SUP and finds a way that comes back to where it was. */
class CycleSearch {
  public:
    explicit CycleSearch(const Model &model) : model_(model) {}

    /** An element of a cycle that can be reached; null when there is none. */
    const Element *from(const Element &start) {
        enter(start);
        while (!path_.empty()) {
            Step &step = path_.back();
            const auto &superiors = step.element->values("SUP");
            if (step.next == superiors.size()) {
                open_[step.element] = false;
                path_.pop_back();
                continue;
            }
            const Element *next = model_.resolve(step.element->kind, superiors[step.next++]);
            const auto known = next == nullptr ? open_.end() : open_.find(next);
            if (known != open_.end() && known->second)
                return next;
            if (next != nullptr && known == open_.end())
                enter(*next);
        }
        return nullptr;
    }

  private:
    struct Step {
        const Element *element;
        std::size_t next = 0;
    };
    void enter(const Element &element) {
        open_[&element] = true;
        path_.push_back({&element});
    }

    const Model &model_;
    std::vector<Step> path_;
    std::unordered_map<const Element *, bool> open_; // still on the path
};

} // namespace

std::vector<InheritedField> inheritedFields(const Model &model, const Element &element) {
    std::vector<InheritedField> fields;
    const auto chain = superiors(model, element);
    if (element.kind == Kind::attribute_type)
        inheritNearest(element, chain, fields);
    else if (element.kind == Kind::object_class)
        inheritAll(chain, fields);
    return fields;
}

std::vector<std::string> brokenReferences(const Model &model, const Element &element) {
    std::vector<std::string> faults;
    for (const Keyword &keyword : keywordsOf(element.kind)) {
        if (!keyword.refersTo)
            continue;
        for (const std::string &name : references(element, keyword))
            if (model.resolve(*keyword.refersTo, name) == nullptr)
                faults.push_back(fmt::format("{} names the {} {}, which is unknown here",
                                             keyword.name, namesOf(*keyword.refersTo).title,
                                             printable(name)));
    }
    if (const Element *cyclic = CycleSearch(model).from(element))
        faults.push_back(
            fmt::format("SUP goes round in a circle at {}", printable(cyclic->title())));
    return faults;
}

} // namespace qldapx
