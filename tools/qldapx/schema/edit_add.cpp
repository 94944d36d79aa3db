#include "schema/dependency.h"
#include "schema/difference.h"
#include "schema/draft.h"
#include "schema/edit.h"
#include "schema/plan.h"
#include "schema/source.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <ldap.h>

namespace qldapx {
namespace {

[[noreturn]] void clash(const Run &run, const Element &element, int code, const std::string &reason,
                        const std::string &hint) {
    Problem problem;
    problem.operation = run.name();
    problem.object = element.title();
    problem.code = code;
    problem.name = ldap_err2string(code);
    problem.reason = reason + "; nothing was sent";
    problem.hint = hint;
    throw Failure(std::move(problem));
}

std::string placeOf(const Element &element) {
    return element.place.empty() ? element.label()
                                 : printable(element.place) + ": " + element.label();
}

/** Whoever else of the kind has one of its names; null when nobody has. */
const Element *namesake(const Model &model, const Element &element) {
    for (const std::string &name : element.names())
        for (const Element *other : model.find(element.kind, name))
            if (!sameText(other->key, element.key))
                return other;
    return nullptr;
}

/** Additions to a server's schema, each looked at before it is planned. */
class Additions {
  public:
    Additions(Run &run, const AddOptions &options, const Model &model, const Model &added)
        : run_(run), options_(options), model_(model), added_(added) {}

    void plan(Plan &plan) const {
        std::vector<const Element *> elements;
        added_.each([&](const Element &element) {
            if (isFirst(element))
                elements.push_back(&element);
        });
        for (const Element *element : inDependencyOrder(elements))
            planOne(plan, *element);
    }

  private:
    [[nodiscard]] bool isSame(const Element &left, const Element &right) const {
        return Comparison{model_, added_, false}.fieldChanges(left, right).empty();
    }

    /** Another one of the same OID is a mistake unless it says the same. */
    [[nodiscard]] bool isFirst(const Element &element) const {
        const Element &first = *added_.byKey(element.kind, element.key);
        if (&first == &element || (!isSame(first, element) && options_.force))
            return true;
        if (!isSame(first, element))
            clash(run_, element, LDAP_TYPE_OR_VALUE_EXISTS,
                  fmt::format("{} has the OID of {}", placeOf(element), placeOf(first)),
                  "mend the file, or --force sends both");
        return false;
    }

    void planOne(Plan &plan, const Element &element) const {
        const Element *old = model_.byKey(element.kind, element.key);
        const bool fromFile = !options_.files.empty();
        if (old != nullptr && fromFile && isSame(*old, element))
            return plan.skip(*old);
        if (old != nullptr && !options_.replace && !options_.force)
            clash(run_, element, LDAP_TYPE_OR_VALUE_EXISTS,
                  fmt::format("{}: the server has the OID already, as {}", placeOf(element),
                              old->label()),
                  fromFile ? "--replace changes it, --force sends it all the same"
                           : "qldapx schema modify changes it; --force sends it all the same");
        checkNames(element);
        warnOfUnknown(element);
        if (old != nullptr && options_.replace)
            plan.replace(*old, element);
        else
            plan.add(element);
    }

    void checkNames(const Element &element) const {
        if (options_.force)
            return;
        for (const Model *model : {&model_, &added_})
            if (const Element *other = namesake(*model, element))
                clash(run_, element, LDAP_TYPE_OR_VALUE_EXISTS,
                      fmt::format("{}: {} has one of its names", placeOf(element), placeOf(*other)),
                      "choose another name, or --force sends it all the same");
    }

    void warnOfUnknown(const Element &element) const {
        for (const Keyword &keyword : keywordsOf(element.kind)) {
            if (!keyword.refersTo)
                continue;
            for (const std::string &name : references(element, keyword))
                if (model_.resolve(*keyword.refersTo, name) == nullptr &&
                    added_.resolve(*keyword.refersTo, name) == nullptr)
                    warn(fmt::format("{}: the server has no {} {}, which {} names",
                                     placeOf(element), namesOf(*keyword.refersTo).title,
                                     printable(name), keyword.name),
                         run_.out.isJson());
        }
    }

    Run &run_;
    const AddOptions &options_;
    const Model &model_;
    const Model &added_;
};

Model fromArguments(const AddOptions &options) {
    Model added;
    Element element = newElement(requireKind(options.kind), options.fields);
    complete(element, options.force);
    added.add(std::move(element));
    return added;
}

Model fromFiles(const Run &run, const AddOptions &options) {
    const Source source = readFiles(options.files);
    for (const std::string &fault : source.faults)
        warn(fault, run.out.isJson());
    if (!source.faults.empty())
        throw UsageError("the file cannot be used as it stands; nothing was sent",
                         "mend what is said above");
    Model added;
    source.model.each([&](const Element &element) {
        Element copy = element;
        complete(copy, options.force);
        added.add(std::move(copy));
    });
    if (added.size() == 0)
        throw UsageError("there are no descriptions in the file",
                         "LDIF with attributeTypes: and the like, or slapd's *.schema");
    return added;
}

void requireOneWay(const AddOptions &options) {
    if (options.files.empty() == options.kind.empty())
        throw UsageError("say what to add: KIND FIELD=VALUE..., or --file FILE",
                         "qldapx schema add --help");
    if (options.files.empty() && options.replace)
        throw UsageError("--replace belongs to --file", "qldapx schema modify changes an element");
}

} // namespace

void addToSchema(Run &run, const AddOptions &options) {
    requireOneWay(options);
    const Model added = options.files.empty() ? fromArguments(options) : fromFiles(run, options);
    ServerSchema server(run, options.dn);
    const Model model = server.model();
    Plan plan(run, server, options.dryRun);
    Additions(run, options, model, added).plan(plan);
    plan.finish();
}

} // namespace qldapx
