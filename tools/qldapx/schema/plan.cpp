#include "schema/plan.h"

#include "errors.h"
#include "schema/element_json.h"
#include "schema/export.h"
#include "schema/field_list.h"
#include "text.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <ldap.h>

namespace qldapx {
namespace {

const char *verbOf(const PlannedChange &change) {
    if (change.before == nullptr)
        return "added";
    return change.after == nullptr ? "deleted" : "changed";
}

const Element &subjectOf(const PlannedChange &change) {
    return change.after == nullptr ? *change.before : *change.after;
}

/** The changes of fields that make the one element into the other. */
FieldList fieldChanges(const Element &before, const Element &after) {
    FieldList fields;
    const auto name = [&](const Field &field) {
        return libraryKeyword(before.kind, field.keyword);
    };
    // First what goes: a class has one kind at a time.
    for (const Field &field : before.fields)
        if (!after.has(field.keyword))
            fields.add(field.values.empty() ? LDAP_MOD_DELETE : LDAP_MOD_REPLACE, name(field), {});
    for (const Field &field : after.fields) {
        const Field *old = before.field(field.keyword);
        if (old == nullptr || old->values != field.values)
            fields.add(field.values.empty() ? LDAP_MOD_ADD : LDAP_MOD_REPLACE, name(field),
                       storedValues(before.kind, field));
    }
    return fields;
}

/**
 * What the library does not change in place: the key, by which it finds the element again, and
 * the bound of a syntax.
 */
bool needsReplacement(const Element &before, const Element &after) {
    const std::string syntax = before.value("SYNTAX");
    const bool isBounded = withoutBound(syntax).size() != syntax.size();
    return before.key != after.key || (isBounded && syntax != after.value("SYNTAX"));
}

struct Advice {
    int code;
    const char *hint;
};
constexpr std::array advice = {
    Advice{LDAP_NO_SUCH_ATTRIBUTE,
           "the schema may have changed meanwhile, or the server words it otherwise: look with "
           "qldapx schema get"},
    Advice{LDAP_TYPE_OR_VALUE_EXISTS, "it is there already: qldapx schema show, or modify it"},
    Advice{LDAP_INVALID_SYNTAX, "look at the description that is sent: --dry-run prints it"},
    Advice{LDAP_CONSTRAINT_VIOLATION, "another element may have the name: qldapx schema show"},
    Advice{LDAP_UNWILLING_TO_PERFORM,
           "what the element names must be there, nothing may use what goes, and standard elements "
           "stay as they are; some servers change no element that another one names: qldapx schema "
           "show says who does"},
};

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.';
}

/** Whether the text has it as a word of its own. */
bool hasWord(const std::string &text, const std::string &word) {
    for (std::size_t at = word.empty() ? std::string::npos : text.find(word);
         at != std::string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || !isWordCharacter(text[at - 1])) &&
            (end == text.size() || !isWordCharacter(text[end])))
            return true;
    }
    return false;
}

bool mentions(const std::string &text, const Element &element) {
    const auto isThere = [&](const std::string &word) { return hasWord(text, word); };
    return isThere(element.key) ||
           std::any_of(element.names().begin(), element.names().end(), isThere);
}

} // namespace

void Plan::add(const Element &element) {
    server_.add(element);
    lines_.push_back({true, element.kind, element.description});
    changes_.push_back({nullptr, &element});
}

void Plan::remove(const Element &element) {
    server_.remove(element);
    lines_.push_back({false, element.kind, element.description});
    changes_.push_back({&element, nullptr});
}

void Plan::replace(const Element &before, const Element &after) {
    server_.remove(before);
    server_.add(after);
    lines_.push_back({false, before.kind, before.description});
    lines_.push_back({true, after.kind, after.description});
    changes_.push_back({&before, &after});
}

void Plan::modify(const Element &before, const Element &after) {
    FieldList fields = fieldChanges(before, after);
    if (needsReplacement(before, after) || !server_.modify(before, fields.mods()))
        return replace(before, after);
    lines_.push_back({false, before.kind, before.description});
    lines_.push_back({true, after.kind, server_.description(before)});
    changes_.push_back({&before, &after});
}

void Plan::print() const {
    if (lines_.empty())
        return run_.out.text("# nothing to change\n");
    std::string text = ldifLine("dn", server_.dn()) + "changetype: modify\n";
    for (const Line &line : lines_) {
        const char *attribute = namesOf(line.kind).attribute;
        text += fmt::format("{}: {}\n{}-\n", line.isAddition ? "add" : "delete", attribute,
                            ldifLine(attribute, line.description));
    }
    run_.out.text(text + "\n");
}

Failure Plan::explained(const Failure &failure) const {
    Problem problem = failure.problem();
    for (const PlannedChange &change : changes_)
        if (changes_.size() == 1 || mentions(problem.diagnostic, subjectOf(change))) {
            problem.object = subjectOf(change).title();
            problem.reason = subjectOf(change).label() + " is not " + verbOf(change);
            break;
        }
    for (const Advice &row : advice)
        if (row.code == problem.code)
            problem.hint = row.hint;
    if (lines_.size() > 1)
        problem.hint +=
            "; not every server takes back the whole request: look at what is there now";
    return Failure(std::move(problem));
}

void Plan::send() {
    try {
        server_.save();
    } catch (const Failure &failure) {
        if (failure.problem().code.value_or(0) <= 0)
            throw;
        throw explained(failure);
    }
}

void Plan::report() const {
    std::string sentences;
    Output::Json done = Output::Json::array(), skipped = Output::Json::array();
    for (const PlannedChange &change : changes_) {
        sentences += fmt::format("{}{} {}", sentences.empty() ? "" : "\n",
                                 subjectOf(change).label(), verbOf(change));
        Output::Json json = {{"change", verbOf(change)}};
        json.update(jsonReference(subjectOf(change)));
        done.push_back(std::move(json));
    }
    for (const Element *element : skipped_) {
        sentences +=
            fmt::format("{}{} is as it shall be", sentences.empty() ? "" : "\n", element->label());
        skipped.push_back(jsonReference(*element));
    }
    run_.done(sentences.empty() ? "nothing to change" : sentences,
              {{"dn", server_.dn()}, {"changes", done}, {"unchanged", skipped}});
}

void Plan::finish() {
    if (dryRun_)
        return print();
    if (!changes_.empty())
        send();
    report();
}

} // namespace qldapx
