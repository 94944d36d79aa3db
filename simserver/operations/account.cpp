#include "operations/account.h"

#include "operations/walk.h"
#include "schema.h"
#include "text.h"

#include <algorithm>

namespace stratasim {
namespace {

bool isAdministrator(const Directory &directory, std::string_view name) {
    const std::vector<Ava> &rdn = directory.administratorDn().rdn;
    return std::any_of(rdn.begin(), rdn.end(),
                       [&](const Ava &ava) { return foldText(ava.value) == foldText(name); });
}

/** The entries that have the name in that attribute: none, one, or the first two. */
std::vector<std::shared_ptr<Node>> findBy(const Directory &directory, std::string_view attribute,
                                          std::string_view name) {
    const std::string key = schema::keyOf(attribute);
    std::vector<std::shared_ptr<Node>> found;
    Walk walk(directory.tree.topNode(), Scope::Subtree);
    while (auto node = walk.next()) {
        const Attribute *names = node->entry.find(key);
        if (names != nullptr && hasValue(*names, name))
            found.push_back(std::move(node));
        if (found.size() == 2)
            break;
    }
    return found;
}

} // namespace

Account accountOf(const Directory &directory, const Dn &dn) {
    const auto node = directory.tree.find(dn.key);
    Account account{{node ? node->dn : dn.text, dn.key}, {}};
    if (dn.key == directory.administratorDn().key)
        account.passwords = {directory.administratorPassword()};
    else if (const Attribute *stored = node ? node->entry.find(schema::kPassword) : nullptr)
        account.passwords = stored->values;
    std::erase(account.passwords, ""); // nobody proves anything with it
    return account;
}

Account findAccount(const Directory &directory, std::string_view name) {
    if (const auto dn = Dn::parse(name); dn && !dn->isRoot())
        return accountOf(directory, *dn);
    if (isAdministrator(directory, name))
        return accountOf(directory, directory.administratorDn());
    for (const char *attribute : {"uid", "cn"}) {
        const auto found = findBy(directory, attribute, name);
        if (!found.empty())
            return found.size() == 1 ? accountOf(directory, requireDn(found[0]->dn)) : Account{};
    }
    return {};
}

} // namespace stratasim
