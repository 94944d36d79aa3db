#include "schema/dependency.h"
#include "schema/draft.h"
#include "schema/edit.h"
#include "schema/plan.h"
#include "schema/source.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <ldap.h>
#include <unordered_set>

namespace qldapx {
namespace {

using Chosen = std::unordered_set<const Element *>;

/** Those outside of the chosen ones that name it. */
std::vector<std::string> outsideUsers(const Model &model, const Element &element,
                                      const Chosen &chosen) {
    std::vector<std::string> users;
    for (const Use &use : model.uses(element))
        if (!chosen.contains(use.user))
            users.push_back(fmt::format("{} of {}", use.keyword, use.user->label()));
    return users;
}

void refuseUsed(const Run &run, const Model &model, const Chosen &chosen,
                const std::vector<const Element *> &elements) {
    constexpr std::size_t most = 8;
    for (const Element *element : elements) {
        std::vector<std::string> users = outsideUsers(model, *element, chosen);
        if (users.empty())
            continue;
        const std::size_t count = users.size();
        users.resize(std::min(count, most));
        Problem problem;
        problem.operation = run.name();
        problem.object = element->title();
        problem.reason = fmt::format("{} is still named in {}{}; nothing was sent",
                                     element->label(), fmt::join(users, ", "),
                                     count > most ? fmt::format(" and {} more", count - most) : "");
        problem.hint = "delete or change these first, or name them too; --force sends it all the "
                       "same";
        throw Failure(std::move(problem));
    }
}

std::vector<const Element *> inDeletionOrder(const Chosen &chosen, const Model &model) {
    std::vector<const Element *> elements;
    model.each([&](const Element &element) {
        if (chosen.contains(&element))
            elements.push_back(&element);
    });
    auto order = inDependencyOrder(elements);
    std::reverse(order.begin(), order.end());
    return order;
}

/** A model and where it is from, for the messages about what is not in it. */
Source sourceOf(Run &run, const ServerSchema &server) {
    return {server.model(), run.uri(), server.dn(), {}};
}

/** What another one has already; its own key and names may stay. */
void refuseClash(const Run &run, const Model &model, const Element &before, const Element &after) {
    std::vector<std::string> keys = after.names();
    keys.push_back(after.key);
    for (const std::string &key : keys)
        for (const Element *other : model.find(after.kind, key))
            if (other != &before) {
                Problem problem;
                problem.operation = run.name();
                problem.object = before.title();
                problem.code = LDAP_TYPE_OR_VALUE_EXISTS;
                problem.name = ldap_err2string(LDAP_TYPE_OR_VALUE_EXISTS);
                problem.reason = fmt::format("{} is {} already; nothing was sent", printable(key),
                                             other->label());
                problem.hint = "choose another one, or --force sends it all the same";
                throw Failure(std::move(problem));
            }
}

void warnOfUnknown(const Run &run, const Model &model, const Element &before,
                   const Element &after) {
    for (const Keyword &keyword : keywordsOf(after.kind)) {
        if (!keyword.refersTo)
            continue;
        const auto known = references(before, keyword);
        for (const std::string &name : references(after, keyword))
            if (model.resolve(*keyword.refersTo, name) == nullptr &&
                std::find(known.begin(), known.end(), name) == known.end() && name != after.key)
                warn(fmt::format("the server has no {} {}, which {} names",
                                 namesOf(*keyword.refersTo).title, printable(name), keyword.name),
                     run.out.isJson());
    }
}

} // namespace

void modifySchema(Run &run, const ModifyOptions &options) {
    ServerSchema server(run, options.dn);
    const Source source = sourceOf(run, server);
    const Element &before = requireOne(run, source, options.name, options.kind);
    Element after = changedElement(source.model, before, options.fields);
    complete(after, options.force);
    Plan plan(run, server, options.dryRun);
    if (after.description == before.description) {
        plan.skip(before);
    } else {
        if (!options.force)
            refuseClash(run, source.model, before, after);
        warnOfUnknown(run, source.model, before, after);
        plan.modify(before, after);
    }
    plan.finish();
}

void deleteFromSchema(Run &run, const DeleteOptions &options) {
    ServerSchema server(run, options.dn);
    const Source source = sourceOf(run, server);
    Chosen chosen;
    for (const std::string &name : options.names)
        chosen.insert(&requireOne(run, source, name, options.kind));
    const auto elements = inDeletionOrder(chosen, source.model);
    if (!options.force)
        refuseUsed(run, source.model, chosen, elements);
    Plan plan(run, server, options.dryRun);
    for (const Element *element : elements)
        plan.remove(*element);
    plan.finish();
}

} // namespace qldapx
