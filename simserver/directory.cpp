#include "directory.h"

#include "events/entry_events.h"
#include "ldif.h"
#include "result.h"
#include "sample.h"
#include "subschema.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

/** The servers below ou=servers of a naming context, in the order in which they were loaded. */
std::vector<std::string> serversOf(const Tree &tree, const Node &context) {
    std::vector<std::string> servers;
    if (const auto unit = tree.find("ou=servers," + context.key))
        for (const auto &[order, child] : unit->children)
            servers.push_back(child->dn);
    return servers;
}

/** A number that looks random and is the same in every run: entries have stable UUIDs. */
std::uint64_t scramble(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31U);
}

std::string makeUuid(std::uint64_t number) {
    const std::uint64_t high = scramble(2 * number);
    const std::uint64_t low = scramble(2 * number + 1);
    return fmt::format("{:08x}-{:04x}-4{:03x}-{:04x}-{:012x}", high >> 32U, (high >> 16U) & 0xffffU,
                       high & 0xfffU, 0x8000U | (low >> 48U & 0x3fffU), low & 0xffffffffffffU);
}

void stampTree(Directory &directory, Node &node, const Identity &who) {
    for (const auto &[order, child] : node.children) {
        // A dump of another server brings its own.
        if (child->entry.find("entryuuid") == nullptr)
            directory.stampCreated(child->entry, who);
        stampTree(directory, *child, who);
    }
}

AccessTable makeAccessTable(const std::string &administrator, const Node &top) {
    using Subject = AccessRule::Subject;
    AccessTable table;
    table.allow({Subject::Anyone, "", "", "*", right::kRead | right::kCompare});
    table.allow({Subject::Entry, administrator, "", "*", right::kAll});
    table.allow({Subject::Entry, administrator, "", "userPassword", right::kAll & ~right::kRead});
    table.allow({Subject::Entry, administrator, "", right::kActAsAttribute, right::kActAs});
    for (const auto &[order, context] : top.children) {
        const std::string &dn = context->dn;
        for (const char *own : {"telephoneNumber", "mail", "description"})
            table.allow({Subject::Self, "", dn, own, right::kWrite});
        table.allow({Subject::Self, "", dn, "userPassword", right::kCompare | right::kWrite});
        const std::string groups = "ou=groups," + dn;
        const std::string people = "ou=people," + dn;
        for (const char *attribute : {"telephoneNumber", "mail", "title", "userPassword"})
            table.allow(
                {Subject::Group, "cn=helpdesk," + groups, people, attribute, right::kWrite});
        table.allow({Subject::Group, "cn=helpdesk," + groups, people, right::kActAsAttribute,
                     right::kActAs});
        table.allow({Subject::Group, "cn=operators," + groups, "ou=servers," + dn, "*",
                     right::kWrite | right::kDelete});
    }
    return table;
}

} // namespace

bool isServerEntry(std::string_view key) {
    return isWithin(key, kMonitorDn) || isWithin(key, kSubschemaDn) || key.empty();
}

void requireRight(const Directory &directory, const Identity &who, std::string_view entry,
                  std::string_view attribute, unsigned wanted) {
    if ((directory.rights(who.key, entry, attribute) & wanted) == wanted)
        return;
    throw OperationError(ResultCode::InsufficientAccessRights,
                         who.isAnonymous() ? std::string("anonymous may not do this: bind first")
                                           : fmt::format("\"{}\" has no right to do this", who.dn));
}

Directory::Directory(const Administrator &administrator, Clock clock, schema::Slot model)
    : schema(std::move(model)), topology(tree, clock), clock_(std::move(clock)) {
    const schema::InForce inForce(schema);
    begin(administrator);
    loadSample(tree);
    finishLoading();
    const auto servers = serversOf(tree, *tree.find(kSampleSuffix));
    for (const char *location : {"emea", "apac", "americas"})
        topology.establish(requireDn(fmt::format("ou={},{}", location, kSampleSuffix)), servers);
}

Directory::Directory(const Administrator &administrator, Clock clock, std::istream &ldif,
                     schema::Slot model)
    : schema(std::move(model)), topology(tree, clock), clock_(std::move(clock)) {
    const schema::InForce inForce(schema);
    begin(administrator);
    loadLdif(ldif, tree);
    finishLoading();
}

void Directory::begin(const Administrator &administrator) {
    administratorDn_ = requireDn(administrator.dn);
    administratorPassword_ = administrator.password;
}

void Directory::finishLoading() {
    monitor.startedAt = now();
    stampTree(*this, tree.top(), {administratorDn_.text, administratorDn_.key});
    access_ = makeAccessTable(administratorDn_.text, tree.top());
    for (const auto &[order, context] : tree.top().children)
        topology.establish(requireDn(context->dn), serversOf(tree, *context));
    addSubschema(*this);
    Monitor::addEntries(tree);
    changes.follow(tree);
    tree.subscribe([this](const Change &change) { raiseEntryEvents(*this, change); });
}

std::vector<std::string> Directory::namingContexts() const {
    std::vector<std::string> contexts;
    for (const auto &[order, root] : tree.top().children)
        if (!isServerEntry(root->key))
            contexts.push_back(root->dn);
    return contexts;
}

void Directory::stampCreated(Entry &entry, const Identity &who) {
    entry.set("entryUUID", {makeUuid(++entriesMade_)});
    entry.set("createTimestamp", {generalizedTime(now())});
    entry.set("creatorsName", {who.dn});
    stampModified(entry, who);
}

void Directory::stampModified(Entry &entry, const Identity &who) const {
    entry.set("modifyTimestamp", {generalizedTime(now())});
    entry.set("modifiersName", {who.dn});
}

} // namespace stratasim
