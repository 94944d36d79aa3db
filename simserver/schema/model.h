#pragma once

#include "schema/description.h"

#include <deque>
#include <functional>
#include <unordered_map>
#include <unordered_set>

namespace stratasim::schema {

/** How values of an attribute are compared. */
enum class Rule { CaseIgnore, Exact, Telephone, Integer, Dn, FirstComponent };

/** What entries need to know of an attribute type. */
struct TypeFacts {
    std::string key;
    Rule rule = Rule::CaseIgnore;
    bool single = false;
    bool operational = false;
    bool readOnly = false; // NO-USER-MODIFICATION
};

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
        return std::hash<std::string_view>{}(text);
    }
};
template <typename Value>
using TextMap = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;
using TextSet = std::unordered_set<std::string, TextHash, std::equal_to<>>;

/** All elements of a schema, found by OID and name. It never changes: a change makes another. */
class Model {
  public:
    using Elements = std::array<std::vector<Element>, kKinds>;

    /**
     * Types keep the keys that they have in `before`, if it is not null. The key of a new type is
     * one under which entries hold values already (`held`), or else its first name.
     */
    explicit Model(Elements elements, const Model *before = nullptr, const TextSet &held = {});
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;

    /** The schema that every server begins with. */
    static const std::shared_ptr<const Model> &builtIn();

    const Elements &elements() const { return elements_; }
    const std::vector<Element> &elements(Kind kind) const { return elements_[indexOf(kind)]; }
    std::vector<std::string> texts(Kind kind) const;

    /** By OID or name, in any case; null when there is none. */
    Element find(Kind kind, std::string_view name) const;

    /** By name or OID in lower case. */
    const TypeFacts *type(std::string_view name) const;
    const TypeFacts *typeOfKey(std::string_view key) const;
    /** Names of the attributes of a class and its superiors, those of the superiors first. */
    std::vector<std::string> attributesOfClass(std::string_view name) const;

  private:
    void index();
    void describeTypes(const Model *before, const TextSet &held);
    Rule matchingOf(const Description &type,
                    std::unordered_map<const Description *, Rule> &known) const;

    Elements elements_;
    std::array<TextMap<Element>, kKinds> byName_; // OIDs and names in lower case
    std::deque<TypeFacts> facts_;
    TextMap<const TypeFacts *> typesByName_;
    TextMap<const TypeFacts *> typesByKey_;
};

/** True when the description is one of the standards that the server itself relies on. */
bool isStandard(const Description &description);

} // namespace stratasim::schema
