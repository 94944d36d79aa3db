#include "schema/model.h"

#include <algorithm>
#include <unordered_set>

namespace qldapx {
namespace {

/** How many letters differ between two names; `limit` when it is that many or more. */
std::size_t distance(std::string_view left, std::string_view right, std::size_t limit) {
    const std::size_t longer = std::max(left.size(), right.size());
    if (longer - std::min(left.size(), right.size()) >= limit)
        return limit;
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j < row.size(); ++j) {
            const std::size_t changed = diagonal + (left[i - 1] == right[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return std::min(row.back(), limit);
}

using Rank = std::pair<std::size_t, std::string>;

void rankNames(const Element &element, const std::string &wanted, std::vector<Rank> &ranks) {
    constexpr std::size_t longest = 64; // nobody types more
    const std::size_t limit = std::max<std::size_t>(2, wanted.size() / 3 + 1);
    for (const std::string &name : element.names()) {
        if (name.size() > longest)
            continue;
        const std::size_t away = distance(lowerCase(name), wanted, limit);
        if (away < limit)
            ranks.emplace_back(away, name);
    }
}

} // namespace

const Element &Model::add(Element element) {
    const auto kind = static_cast<std::size_t>(element.kind);
    const Element &added = elements_.at(kind).emplace_back(std::move(element));
    std::unordered_set<std::string> keys = {lowerCase(added.key)};
    for (const std::string &name : added.names())
        keys.insert(lowerCase(name));
    keys.erase("");
    for (const std::string &key : keys)
        index_.at(kind)[key].push_back(&added);
    return added;
}

std::size_t Model::size() const {
    std::size_t count = 0;
    for (const auto &list : elements_)
        count += list.size();
    return count;
}

std::vector<const Element *> Model::find(Kind kind, std::string_view name) const {
    const Index &index = index_.at(static_cast<std::size_t>(kind));
    const auto found = index.find(lowerCase(name));
    return found == index.end() ? std::vector<const Element *>() : found->second;
}

std::vector<const Element *> Model::find(const std::string &name, std::optional<Kind> kind) const {
    if (kind)
        return find(*kind, name);
    std::vector<const Element *> all;
    for (const Kind each : allKinds)
        for (const Element *element : find(each, name))
            all.push_back(element);
    return all;
}

const Element *Model::resolve(Kind kind, std::string_view name) const {
    const Index &index = index_.at(static_cast<std::size_t>(kind));
    const auto found = index.find(lowerCase(name));
    return found == index.end() ? nullptr : found->second.front();
}

const Element *Model::byKey(Kind kind, const std::string &key) const {
    for (const Element *element : find(kind, key))
        if (sameText(element->key, key))
            return element;
    return nullptr;
}

void Model::collectUses(Uses &uses, const Element &user) const {
    for (const Keyword &keyword : keywordsOf(user.kind)) {
        if (!keyword.refersTo)
            continue;
        for (const std::string &name : references(user, keyword)) {
            const Element *used = resolve(*keyword.refersTo, name);
            if (used == nullptr)
                continue;
            std::vector<Use> &list = uses[used];
            // A list may name one twice.
            if (list.empty() || list.back().user != &user || list.back().keyword != keyword.name)
                list.push_back({&user, keyword.name});
        }
    }
}

const std::vector<Use> &Model::uses(const Element &element) const {
    if (uses_ == nullptr) {
        auto all = std::make_unique<Uses>();
        each([&](const Element &user) { collectUses(*all, user); });
        uses_ = std::move(all);
    }
    return (*uses_)[&element];
}

std::vector<std::string> Model::similar(std::string_view name, std::optional<Kind> kind) const {
    constexpr std::size_t most = 5;
    std::vector<Rank> ranks;
    const std::string wanted = lowerCase(name);
    each([&](const Element &element) {
        if (!kind || element.kind == *kind)
            rankNames(element, wanted, ranks);
    });
    std::sort(ranks.begin(), ranks.end());
    std::vector<std::string> names;
    for (const auto &[away, similar] : ranks)
        if (names.size() < most && std::find(names.begin(), names.end(), similar) == names.end())
            names.push_back(similar);
    return names;
}

void Model::each(const std::function<void(const Element &)> &visit) const {
    for (const auto &list : elements_)
        for (const Element &element : list)
            visit(element);
}

std::vector<std::string> references(const Element &element, const Keyword &keyword) {
    std::vector<std::string> names = element.values(keyword.name);
    if (keyword.refersTo == Kind::syntax)
        for (std::string &name : names)
            name = withoutBound(name);
    return names;
}

std::vector<const Element *> superiors(const Model &model, const Element &element) {
    std::vector<const Element *> chain = {&element};
    std::unordered_set<const Element *> seen = {&element};
    for (std::size_t i = 0; i < chain.size(); ++i)
        for (const std::string &name : chain[i]->values("SUP")) {
            const Element *superior = model.resolve(element.kind, name);
            if (superior != nullptr && seen.insert(superior).second)
                chain.push_back(superior);
        }
    chain.erase(chain.begin());
    return chain;
}

} // namespace qldapx
