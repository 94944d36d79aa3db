#include "schema/model.h"

#include "schema/built_in.h"
#include "text.h"

#include <algorithm>
#include <iterator>

namespace stratasim::schema {
namespace {

struct MatchingRow {
    std::string_view oid;
    Rule rule;
};

// Of the other rules none ignores more than exact comparison: two values stay two.
constexpr MatchingRow kMatching[] = {
    {"2.5.13.0", Rule::CaseIgnore}, // objectIdentifierMatch
    {"2.5.13.1", Rule::Dn},
    {"2.5.13.2", Rule::CaseIgnore},
    {"2.5.13.8", Rule::Telephone}, // numericStringMatch: blanks do not count
    {"2.5.13.11", Rule::CaseIgnore},
    {"2.5.13.13", Rule::CaseIgnore}, // booleanMatch
    {"2.5.13.14", Rule::Integer},
    {"2.5.13.20", Rule::Telephone},
    {"2.5.13.23", Rule::Dn},         // uniqueMemberMatch
    {"2.5.13.27", Rule::CaseIgnore}, // generalizedTimeMatch
    {"2.5.13.29", Rule::FirstComponent},
    {"2.5.13.30", Rule::FirstComponent},
    {"2.5.13.31", Rule::FirstComponent},
    {"1.3.6.1.4.1.1466.109.114.2", Rule::CaseIgnore}, // caseIgnoreIA5Match
    {"1.3.6.1.1.16.2", Rule::CaseIgnore},             // UUIDMatch
};

Rule matchingOfRule(std::string_view oid) {
    const auto row = std::find_if(std::begin(kMatching), std::end(kMatching),
                                  [oid](const MatchingRow &known) { return known.oid == oid; });
    return row == std::end(kMatching) ? Rule::Exact : row->rule;
}

/** OID and names in lower case. */
std::vector<std::string> keysOf(const Description &description) {
    std::vector<std::string> keys = {lowerCase(description.id)};
    for (const std::string &name : description.names)
        keys.push_back(lowerCase(name));
    return keys;
}

std::string pickKey(const std::vector<std::string> &keys, const Model *before,
                    const TextSet &held) {
    for (const std::string &key : keys)
        if (const TypeFacts *known = before != nullptr ? before->type(key) : nullptr)
            return known->key;
    for (const std::string &key : keys)
        if (held.contains(key))
            return key;
    return keys.size() > 1 ? keys[1] : keys[0];
}

} // namespace

Model::Model(Elements elements, const Model *before, const TextSet &held)
    : elements_(std::move(elements)) {
    index();
    describeTypes(before, held);
}

void Model::index() {
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        byName_[kind].reserve(2 * elements_[kind].size());
        for (const Element &element : elements_[kind])
            for (std::string &key : keysOf(*element))
                byName_[kind].emplace(std::move(key), element);
    }
}

void Model::describeTypes(const Model *before, const TextSet &held) {
    const auto &types = elements(Kind::AttributeType);
    std::unordered_map<const Description *, Rule> known;
    typesByName_.reserve(2 * types.size());
    typesByKey_.reserve(types.size());
    for (const Element &type : types) {
        const std::string_view usage = type->value("USAGE");
        TypeFacts &facts = facts_.emplace_back();
        const auto keys = keysOf(*type);
        facts.key = pickKey(keys, before, held);
        // A name that went from one type to another does not take the first one's values along.
        while (!typesByKey_.emplace(facts.key, &facts).second)
            facts.key += '.';
        facts.rule = matchingOf(*type, known);
        facts.single = type->has("SINGLE-VALUE");
        facts.operational = !usage.empty() && usage != "userApplications";
        facts.readOnly = type->has("NO-USER-MODIFICATION");
        for (const std::string &key : keys)
            typesByName_.emplace(key, &facts);
    }
}

/** EQUALITY of the type or of the nearest superior that has it. */
Rule Model::matchingOf(const Description &type,
                       std::unordered_map<const Description *, Rule> &known) const {
    std::vector<const Description *> path;
    Rule rule = Rule::Exact;
    for (const Description *at = &type; at != nullptr;) {
        // What was seen is noted at once: this ends, even where types are their own superiors.
        const auto [place, isNew] = known.emplace(at, Rule::Exact);
        if (!isNew) {
            rule = place->second;
            break;
        }
        path.push_back(at);
        if (const std::string_view name = at->value("EQUALITY"); !name.empty()) {
            const Element found = find(Kind::MatchingRule, name);
            rule = found ? matchingOfRule(found->id) : Rule::Exact;
            break;
        }
        at = at->has("SUP") ? find(Kind::AttributeType, at->value("SUP")).get() : nullptr;
    }
    for (const Description *passed : path)
        known[passed] = rule;
    return rule;
}

const std::shared_ptr<const Model> &Model::builtIn() {
    static const std::shared_ptr<const Model> model =
        std::make_shared<const Model>(builtInElements());
    return model;
}

std::vector<std::string> Model::texts(Kind kind) const {
    std::vector<std::string> all;
    all.reserve(elements(kind).size());
    for (const Element &element : elements(kind))
        all.push_back(element->text);
    return all;
}

Element Model::find(Kind kind, std::string_view name) const {
    const auto &names = byName_[indexOf(kind)];
    const auto found = names.find(lowerCase(name));
    return found == names.end() ? nullptr : found->second;
}

const TypeFacts *Model::type(std::string_view name) const {
    const auto found = typesByName_.find(name);
    return found == typesByName_.end() ? nullptr : found->second;
}

const TypeFacts *Model::typeOfKey(std::string_view key) const {
    const auto found = typesByKey_.find(key);
    return found == typesByKey_.end() ? nullptr : found->second;
}

std::vector<std::string> Model::attributesOfClass(std::string_view name) const {
    // From the class upwards, and the other way round to give the superiors' attributes first.
    std::vector<Element> classes;
    std::unordered_set<const Description *> seen;
    const auto visit = [&](std::string_view wanted) {
        if (const Element found = find(Kind::ObjectClass, wanted))
            if (seen.insert(found.get()).second)
                classes.push_back(found);
    };
    visit(name);
    for (std::size_t next = 0; next < classes.size(); ++next) {
        const Element current = classes[next];
        if (const Clause *superiors = current->find("SUP"))
            std::for_each(superiors->values.rbegin(), superiors->values.rend(), visit);
    }
    std::vector<std::string> attributes;
    for (auto current = classes.rbegin(); current != classes.rend(); ++current)
        for (const Clause &clause : (*current)->clauses)
            if (clause.keyword == "MUST" || clause.keyword == "MAY")
                attributes.insert(attributes.end(), clause.values.begin(), clause.values.end());
    return attributes;
}

bool isStandard(const Description &description) {
    const Element own = Model::builtIn()->find(description.kind, description.id);
    if (!own)
        return false;
    const std::string_view usage = own->value("USAGE");
    return (!usage.empty() && usage != "userApplications") ||
           std::find(std::begin(kStandardOrigins), std::end(kStandardOrigins),
                     own->value("X-ORIGIN")) != std::end(kStandardOrigins);
}

} // namespace stratasim::schema
