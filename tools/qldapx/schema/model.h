#pragma once

#include "schema/element.h"

#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>

namespace qldapx {

/** One element names another one. */
struct Use {
    const Element *user;
    const char *keyword;
};

/** All elements of a schema, found by name or OID. */
class Model {
  public:
    Model() = default;
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;
    Model(Model &&) = default;
    Model &operator=(Model &&) = default;

    const Element &add(Element element);

    [[nodiscard]] const std::deque<Element> &elements(Kind kind) const {
        return elements_.at(static_cast<std::size_t>(kind));
    }
    [[nodiscard]] std::size_t size() const;
    /** Those of a name, in small or capital letters, or an OID. */
    [[nodiscard]] std::vector<const Element *> find(Kind kind, std::string_view name) const;
    /** Of all kinds, or of one. */
    [[nodiscard]] std::vector<const Element *> find(const std::string &name,
                                                    std::optional<Kind> kind) const;
    /** The first one; null when there is none. */
    [[nodiscard]] const Element *resolve(Kind kind, std::string_view name) const;

    /** The first one with this OID or rule id; null when there is none. */
    [[nodiscard]] const Element *byKey(Kind kind, const std::string &key) const;

    /** Who names it. Made at the first call, and not changed by later additions. */
    [[nodiscard]] const std::vector<Use> &uses(const Element &element) const;

    /** Names like this one, the nearest first, for somebody who mistyped it. */
    [[nodiscard]] std::vector<std::string> similar(std::string_view name,
                                                   std::optional<Kind> kind) const;

    /** Calls it for each element, kind by kind. */
    void each(const std::function<void(const Element &)> &visit) const;

  private:
    using Index = std::unordered_map<std::string, std::vector<const Element *>>;
    using Uses = std::unordered_map<const Element *, std::vector<Use>>;
    void collectUses(Uses &uses, const Element &user) const;

    std::array<std::deque<Element>, kindCount> elements_;
    std::array<Index, kindCount> index_;
    mutable std::unique_ptr<Uses> uses_;
};

/** The values of a field that name elements, without the bound of a syntax. */
std::vector<std::string> references(const Element &element, const Keyword &keyword);

/** The superior elements, the nearest first, and each only once. */
std::vector<const Element *> superiors(const Model &model, const Element &element);

} // namespace qldapx
