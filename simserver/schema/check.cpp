#include "schema/check.h"

#include "schema/tokens.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim::schema {
namespace {

constexpr bool kBearable = true;

std::string_view kindOfClass(const Description &description) {
    for (const std::string_view kind : {"ABSTRACT", "AUXILIARY"})
        if (description.has(kind))
            return kind;
    return "STRUCTURAL";
}

std::string_view usageOf(const Description &description) {
    const std::string_view usage = description.value("USAGE");
    return usage.empty() ? "userApplications" : usage;
}

class Checker {
  public:
    explicit Checker(const Model &model) : model_(model) {}

    std::vector<Problem> run() {
        for (const auto &elements : model_.elements())
            for (const Element &element : elements) {
                checkNames(element);
                checkReferences(element);
            }
        for (const Element &type : model_.elements(Kind::AttributeType))
            checkType(type);
        for (const Element &objectClass : model_.elements(Kind::ObjectClass))
            checkClass(objectClass);
        for (const Element &form : model_.elements(Kind::NameForm))
            requireClass(form, form->value("OC"), "STRUCTURAL");
        for (const Element &rule : model_.elements(Kind::ContentRule))
            checkContentRule(rule);
        for (const Kind kind : {Kind::AttributeType, Kind::ObjectClass})
            checkCycles(kind);
        return std::move(problems_);
    }

  private:
    void report(const Element &element, const std::string &text, bool bearable) {
        problems_.push_back({ResultCode::UnwillingToPerform, element,
                             fmt::format("{}: {}", element->title(), text), bearable});
    }

    void checkNames(const Element &element) {
        for (const std::string &name : element->names) {
            const Element owner = model_.find(element->kind, name);
            if (owner == element)
                continue;
            report(element, fmt::format("the name {} is that of {}", shorten(name), owner->title()),
                   !kBearable);
            problems_.back().code = ResultCode::ConstraintViolation;
        }
    }

    void checkReferences(const Element &element) {
        for (const Reference &reference : element->references) {
            if (model_.find(reference.kind, reference.to))
                continue;
            // What compares values is the server's own affair: each has other rules.
            report(element,
                   fmt::format("{}{}there is no {} {}", reference.keyword,
                               reference.keyword.empty() ? "" : ": ", rowOf(reference.kind).word,
                               shorten(reference.to)),
                   reference.kind == Kind::Syntax || reference.kind == Kind::MatchingRule);
        }
    }

    void checkType(const Element &type) {
        const bool collective = type->has("COLLECTIVE");
        if (collective && type->has("SINGLE-VALUE"))
            report(type, "COLLECTIVE and SINGLE-VALUE exclude each other", kBearable);
        if (collective && usageOf(*type) != "userApplications")
            report(type, "COLLECTIVE is for user applications only", kBearable);
        if (type->has("NO-USER-MODIFICATION") && usageOf(*type) == "userApplications")
            report(type, "NO-USER-MODIFICATION is for operational attributes only", kBearable);
        if (!type->has("SUP"))
            return;
        const Element superior = model_.find(Kind::AttributeType, type->value("SUP"));
        if (superior && usageOf(*superior) != usageOf(*type))
            report(type,
                   fmt::format("its USAGE is {}, and that of {} is {}", usageOf(*type),
                               superior->title(), usageOf(*superior)),
                   kBearable);
    }

    void checkClass(const Element &objectClass) {
        const Clause *superiors = objectClass->find("SUP");
        if (superiors == nullptr)
            return;
        const std::string_view kind = kindOfClass(*objectClass);
        for (const std::string &name : superiors->values) {
            const Element superior = model_.find(Kind::ObjectClass, name);
            if (!superior)
                continue;
            const std::string_view above = kindOfClass(*superior);
            if (above != "ABSTRACT" && above != kind)
                report(objectClass,
                       fmt::format("it is {} and cannot be derived from {}, which "
                                   "is {}",
                                   kind, superior->title(), above),
                       kBearable);
        }
    }

    void checkContentRule(const Element &rule) {
        requireClass(rule, rule->id, "STRUCTURAL");
        if (const Clause *classes = rule->find("AUX"))
            for (const std::string &name : classes->values)
                requireClass(rule, name, "AUXILIARY");
    }

    void requireClass(const Element &element, std::string_view name, std::string_view kind) {
        const Element found = model_.find(Kind::ObjectClass, name);
        if (found && kindOfClass(*found) != kind)
            report(element, fmt::format("{} is not {}", found->title(), kind), kBearable);
    }

    /** A walk upwards that comes to an element of its own path has found a cycle. */
    void checkCycles(Kind kind) {
        std::unordered_map<const Description *, State> states;
        for (const Element &element : model_.elements(kind))
            if (!states.contains(element.get()))
                walk(element, states);
    }

    enum class State { OnPath, Done };
    struct Step {
        Element element;
        std::size_t next = 0; // of its superiors
    };

    void walk(const Element &start, std::unordered_map<const Description *, State> &states) {
        std::vector<Step> path = {{start}};
        states[start.get()] = State::OnPath;
        while (!path.empty()) {
            Step &step = path.back();
            const Clause *superiors = step.element->find("SUP");
            if (superiors == nullptr || step.next == superiors->values.size()) {
                states[step.element.get()] = State::Done;
                path.pop_back();
                continue;
            }
            const Element above = model_.find(step.element->kind, superiors->values[step.next++]);
            if (!above)
                continue;
            const auto [seen, isNew] = states.emplace(above.get(), State::OnPath);
            if (!isNew && seen->second == State::OnPath)
                report(step.element,
                       fmt::format("SUP: {} is derived from it in turn", above->title()),
                       !kBearable);
            if (isNew)
                path.push_back({above});
        }
    }

    const Model &model_;
    std::vector<Problem> problems_;
};

} // namespace

std::vector<Problem> check(const Model &model) {
    return Checker(model).run();
}

} // namespace stratasim::schema
