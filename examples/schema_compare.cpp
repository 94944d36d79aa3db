/**
 * schema_compare - compares the schemas of two servers, element by element and field by field.
 *
 *   schema_compare [-D DN -y PASSWORD_FILE] ldap://one.example.com ldap://other.example.com
 *
 * What only the first server has begins with "-", what only the second one has with "+"; below an
 * element with "!" stand its fields that differ. Neither the order of values nor that of elements
 * counts. Exit status: 0 the schemas are the same, 1 they differ, 2 they could not be compared.
 */
#include "connection.hpp"

#include <iterator>
#include <map>
#include <set>

namespace {

constexpr int same = 0, different = 1, trouble = 2;

using values = std::set<std::string>;
using fields = std::map<std::string, values>;
using elements = std::map<std::string, fields>; // by OID, or by the number of a structure rule

struct kind_name {
    qldapx::schema::kind kind;
    const char *plural;
};
constexpr kind_name kinds[] = {
    {qldapx::schema::kind::syntax, "syntaxes"},
    {qldapx::schema::kind::matching_rule, "matching rules"},
    {qldapx::schema::kind::matching_rule_use, "matching rule uses"},
    {qldapx::schema::kind::attribute_type, "attribute types"},
    {qldapx::schema::kind::object_class, "object classes"},
    {qldapx::schema::kind::dit_content_rule, "content rules"},
    {qldapx::schema::kind::name_form, "name forms"},
    {qldapx::schema::kind::dit_structure_rule, "structure rules"},
};

qldapx::schema::schema fetch(const std::string &uri, const identity &who) {
    qldapx::result<qldapx::session> session = connect(uri, who, std::chrono::seconds(30));
    if (!session)
        fail(trouble, uri + ": " + words(session.error()));
    qldapx::result<qldapx::schema::schema> schema = qldapx::schema::fetch(*session);
    if (!schema)
        fail(trouble, uri + ": the schema cannot be read: " + words(schema.error()));
    return *std::move(schema);
}

/** No values for a field that is listed without any. */
values values_of(qldapx::schema::element element, qldapx::cstring keyword) {
    values all;
    if (const auto given = element.field_values(keyword))
        for (const qldapx::cstring value : *given)
            all.emplace(value.view());
    else if (given.error().code() != LDAP_NO_SUCH_ATTRIBUTE)
        fail(trouble, words(given.error()));
    return all;
}

fields fields_of(qldapx::schema::element element) {
    const auto names = element.field_names();
    if (!names)
        fail(trouble, words(names.error()));
    fields all;
    for (const qldapx::cstring name : *names)
        all.emplace(name.view(), values_of(element, name));
    return all;
}

elements elements_of(qldapx::schema::schema_ref schema, qldapx::schema::kind kind) {
    const char *key = kind == qldapx::schema::kind::dit_structure_rule ? "RULEID" : "OID";
    elements all;
    for (const qldapx::schema::element element : schema.elements(kind)) {
        fields read = fields_of(element);
        const values &keys = read[key];
        all.emplace(keys.empty() ? std::string() : *keys.begin(), std::move(read));
    }
    return all;
}

std::string joined(const values &all) {
    std::string text;
    for (const std::string &value : all)
        if (!value.empty()) // as a flag's is
            text += ' ' + value;
    return text;
}

std::string title(const std::string &oid, const fields &of) {
    const auto names = of.find("NAME");
    return printable(oid + (names == of.end() ? "" : joined(names->second)));
}

/** Calls, for each key, what is for those that left has, right has, or both have. */
template <class Map, class Left, class Right, class Both>
void match(const Map &left, const Map &right, const Left &only_left, const Right &only_right,
           const Both &both) {
    for (const auto &[key, value] : left)
        if (const auto other = right.find(key); other == right.end())
            only_left(key, value);
        else
            both(key, value, other->second);
    for (const auto &[key, value] : right)
        if (left.find(key) == left.end())
            only_right(key, value);
}

void print_field(char sign, const std::string &keyword, const values &has) {
    std::printf("    %c %s\n", sign, printable(keyword + joined(has)).c_str());
}

/** Those of the values that the other side does not have. */
void print_rest(char sign, const std::string &keyword, const values &has, const values &other) {
    values rest;
    std::set_difference(has.begin(), has.end(), other.begin(), other.end(),
                        std::inserter(rest, rest.end()));
    if (!rest.empty())
        print_field(sign, keyword, rest);
}

void print_fields(const fields &one, const fields &other) {
    match(
        one, other,
        [](const std::string &keyword, const values &has) { print_field('-', keyword, has); },
        [](const std::string &keyword, const values &has) { print_field('+', keyword, has); },
        [](const std::string &keyword, const values &before, const values &after) {
            print_rest('-', keyword, before, after);
            print_rest('+', keyword, after, before);
        });
}

/** How many elements differ. */
int compare(const char *plural, const elements &one, const elements &other) {
    int count = 0;
    const auto line = [&](char sign, const std::string &oid, const fields &of) {
        if (++count == 1)
            std::printf("\n%s\n", plural);
        std::printf("  %c %s\n", sign, title(oid, of).c_str());
    };
    match(
        one, other, [&](const std::string &oid, const fields &of) { line('-', oid, of); },
        [&](const std::string &oid, const fields &of) { line('+', oid, of); },
        [&](const std::string &oid, const fields &before, const fields &after) {
            if (before == after)
                return;
            line('!', oid, before);
            print_fields(before, after);
        });
    return count;
}

} // namespace

int main(int argc, char **argv) {
    const options given(argc, argv, "D:y:", trouble);
    if (given.rest().size() != 2)
        fail(trouble, "usage: schema_compare [-D DN -y PASSWORD_FILE] URI URI");
    const std::string &one = given.rest()[0], &other = given.rest()[1];
    const identity who = given.who();
    const qldapx::schema::schema first = fetch(one, who), second = fetch(other, who);
    std::printf("- %s\n+ %s\n", printable(one).c_str(), printable(other).c_str());
    int differences = 0;
    for (const auto &[kind, plural] : kinds)
        differences += compare(plural, elements_of(first, kind), elements_of(second, kind));
    std::printf("\n%d %s\n", differences, differences == 1 ? "difference" : "differences");
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        fail(trouble, "the comparison cannot be written");
    return differences == 0 ? same : different;
}
