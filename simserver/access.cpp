#include "access.h"

#include "schema.h"

namespace stratasim {
namespace {

bool isMember(const Tree &tree, std::string_view group, std::string_view identity) {
    const auto node = tree.find(group);
    const Attribute *members = node ? node->entry.find("member") : nullptr;
    return members != nullptr && !identity.empty() && hasValue(*members, identity);
}

bool isSubject(const AccessRule &rule, const Tree &tree, std::string_view identity,
               std::string_view entry) {
    switch (rule.subject) {
    case AccessRule::Subject::Anyone:
        return true;
    case AccessRule::Subject::Self:
        return !identity.empty() && identity == entry;
    case AccessRule::Subject::Entry:
        return identity == rule.subjectDn;
    case AccessRule::Subject::Group:
        return isMember(tree, rule.subjectDn, identity);
    }
    return false;
}

} // namespace

void AccessTable::allow(const AccessRule &rule) {
    AccessRule keyed = rule;
    keyed.subjectDn = requireDn(rule.subjectDn).key;
    keyed.target = requireDn(rule.target).key;
    if (rule.attribute != "*")
        keyed.attribute = schema::keyOf(rule.attribute);
    rules_.push_back(std::move(keyed));
}

unsigned AccessTable::rights(const Tree &tree, std::string_view identity, std::string_view entry,
                             std::string_view attribute) const {
    const bool coveredByAll = attribute != schema::kPassword;
    unsigned sum = 0;
    for (const AccessRule &rule : rules_) {
        const bool named = rule.attribute == attribute || (rule.attribute == "*" && coveredByAll);
        if (named && isWithin(entry, rule.target) && isSubject(rule, tree, identity, entry))
            sum |= rule.rights;
    }
    return sum;
}

} // namespace stratasim
