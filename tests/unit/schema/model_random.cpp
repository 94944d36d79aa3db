#include "model_random.h"

namespace qldapx_test::model {

namespace {

constexpr unsigned entryClass = LDAP_SCHEMA_OBJECT_CLASS,
                   structureRule = LDAP_SCHEMA_DIT_STRUCTURE_RULE;

std::string key(Random &random, unsigned kind) {
    const std::string number = std::to_string(random.below(24));
    return kind == structureRule ? number : "1.2." + number;
}

std::string name(Random &random) {
    std::string text = "name-" + std::string(1, static_cast<char>('a' + random.below(16)));
    return random.oneIn(3) ? upperCase(text) : text;
}

Values different(Random &random, unsigned most, std::string (*one)(Random &)) {
    Values values;
    for (unsigned i = random.below(most) + 1; i > 0; --i) {
        std::string value = one(random);
        bool isNew = true;
        for (const std::string &other : values)
            isNew = isNew && !equalNames(value, other);
        if (isNew)
            values.push_back(value);
    }
    return values;
}

std::string word(Random &random) {
    static const char *const words[] = {"cn", "sn", "2.5.4.3", "CN", "ou;binary", "x-1", "1.3.6"};
    return words[random.below(7)];
}

std::string syntax(Random &random) {
    return "1.3.6." + std::to_string(random.below(9));
}

std::string number(Random &random) {
    return std::to_string(random.below(30));
}

std::string text(Random &random) {
    static const char *const texts[] = {
        "", "a text", "( $ ) NAME", "\\27 and \\5c", "caf\xc3\xa9", "  two  blanks "};
    return texts[random.below(6)];
}

std::string usage(Random &random) {
    static const char *const usages[] = {"userApplications", "directoryOperation",
                                         "distributedOperation", "dSAOperation"};
    return usages[random.below(4)];
}

std::string classKind(Random &random) {
    static const char *const words[] = {"ABSTRACT", "STRUCTURAL", "AUXILIARY"};
    return words[random.below(3)];
}

Values valuesFor(Random &random, unsigned kind, const FieldRow &row) {
    switch (row.shape) {
    case Shape::Key:
        return {key(random, kind)};
    case Shape::Quoted:
        return {text(random)};
    case Shape::QuotedList:
        return different(random, 3, std::string(row.keyword) == "NAME" ? name : number);
    case Shape::Flag:
        return {""};
    case Shape::Word:
        return {word(random)};
    case Shape::Syntax:
        return {syntax(random)};
    case Shape::WordList:
        return different(random, 4, word);
    case Shape::OneOfWords:
        return {classKind(random)};
    case Shape::Usage:
        break;
    }
    return {usage(random)};
}

// libldap lets only these pass without a key, and only in front of another keyword.
bool mayLackKey(unsigned kind) {
    return kind == entryClass;
}

FieldChange changeOfList(Random &random, unsigned kind, const FieldRow &row,
                         const Element &element) {
    Values values = valuesFor(random, kind, row);
    if (!element.has(row.keyword) || random.oneIn(3))
        return {random.oneIn(2) ? LDAP_MOD_ADD : LDAP_MOD_REPLACE, row.keyword, values};
    const bool isNames = std::string(row.keyword) == "NAME";
    if (random.oneIn(5) && !row.isRequired && !isNames)
        return {LDAP_MOD_REPLACE, row.keyword, {}};
    // A list of names may become empty and still be written: that is not looked at here.
    if (row.shape == Shape::QuotedList)
        return {LDAP_MOD_ADD, row.keyword, values};
    if (random.oneIn(5) && !row.isRequired)
        values = element.fields.at(row.keyword);
    return {LDAP_MOD_DELETE, row.keyword, values};
}

bool isBounded(const FieldRow &row, const Element &element) {
    return element.has(row.keyword) && element.fields.at(row.keyword).size() > 1;
}

FieldChange changeOfText(Random &random, unsigned kind, const FieldRow &row,
                         const Element &element) {
    if (random.oneIn(4) && !row.isRequired && !isBounded(row, element))
        return {random.oneIn(2) ? LDAP_MOD_REPLACE : LDAP_MOD_DELETE, row.keyword, {}};
    Values values = valuesFor(random, kind, row);
    if (random.oneIn(3))
        values.push_back("ignored");
    if (row.shape == Shape::Quoted && random.oneIn(6))
        values = {"it's"};
    return {random.oneIn(2) ? LDAP_MOD_REPLACE : LDAP_MOD_ADD, row.keyword, values};
}

FieldChange changeOfUsage(Random &random) {
    std::string word = random.oneIn(3) ? "noSuchUsage" : usage(random);
    return {random.oneIn(2) ? LDAP_MOD_REPLACE : LDAP_MOD_ADD, "USAGE", {word}};
}

FieldChange changeOfExtension(Random &random) {
    int operations[] = {LDAP_MOD_ADD, LDAP_MOD_REPLACE};
    Values values = different(random, 3, word);
    if (random.oneIn(6))
        return {LDAP_MOD_ADD, "X-OTHER", {}};
    return {operations[random.below(2)], random.oneIn(2) ? "X-OTHER" : "X-ORIGIN", values};
}

FieldChange randomChange(Random &random, unsigned kind, const Element &element) {
    std::span<const FieldRow> rows = rowsOf(kind);
    const FieldRow &row = rows[1 + random.below(static_cast<unsigned>(rows.size()) - 1)];
    if (random.oneIn(8))
        return changeOfExtension(random);
    switch (row.shape) {
    case Shape::QuotedList:
    case Shape::WordList:
        return changeOfList(random, kind, row, element);
    case Shape::Flag:
        return {random.oneIn(2) ? LDAP_MOD_ADD : LDAP_MOD_DELETE, row.keyword, {""}};
    case Shape::OneOfWords:
        return {LDAP_MOD_ADD, classKind(random), {""}};
    case Shape::Usage:
        return changeOfUsage(random);
    default:
        return changeOfText(random, kind, row, element);
    }
}

} // namespace

Element randomElement(Random &random, unsigned kind) {
    static unsigned serial = 0;
    Element element;
    for (const FieldRow &row : rowsOf(kind))
        if (row.isRequired || row.shape == Shape::Key || random.oneIn(2))
            element.fields[row.keyword] = valuesFor(random, kind, row);
    element.extensions = {{"X-ID", {std::to_string(++serial)}}};
    if (random.oneIn(3))
        element.extensions.push_back({"X-ORIGIN", different(random, 2, word)});
    if (mayLackKey(kind) && element.has("NAME") && random.oneIn(12))
        element.fields.erase(keyKeyword(kind));
    return element;
}

std::string randomKey(Random &random, unsigned kind) {
    return random.oneIn(2) ? key(random, kind) : name(random);
}

std::vector<FieldChange> randomChanges(Random &random, unsigned kind, const Element &element) {
    if (random.oneIn(6) && mayLackKey(kind) && element.has("NAME") && random.oneIn(3))
        return {{LDAP_MOD_DELETE, keyKeyword(kind), {}}};
    if (random.oneIn(5))
        return {{random.oneIn(2) ? LDAP_MOD_ADD : LDAP_MOD_REPLACE,
                 keyKeyword(kind),
                 {key(random, kind)}}};
    // Later ones are made for the element as it was: a list that is gone is not taken out of again.
    std::vector<FieldChange> changes = {randomChange(random, kind, element)};
    for (unsigned more = random.below(3); more > 0; --more) {
        std::optional<Element> after = changed(kind, element, changes);
        if (!after)
            break;
        changes.push_back(randomChange(random, kind, *after));
    }
    return changes;
}

} // namespace qldapx_test::model
