#include "errors.h"
#include "schema/element_json.h"
#include "schema/show.h"
#include "text.h"

#include <fmt/format.h>
#include <ldap.h>
#include <unistd.h>

namespace qldapx {
namespace {

// As they are for programs, but not for a terminal.
std::string shown(const std::string &text) {
    return isatty(STDOUT_FILENO) == 1 ? printable(text) : text;
}

std::string keywordList(const Element &element) {
    std::string all;
    for (const Field &field : element.fields)
        all += (all.empty() ? "" : ", ") + printable(field.keyword);
    return all;
}

void reportMissing(Run &run, const Element &element, const std::string &keyword) {
    Problem problem;
    problem.operation = run.name();
    problem.object = element.title();
    problem.code = LDAP_NO_SUCH_ATTRIBUTE;
    problem.name = ldap_err2string(LDAP_NO_SUCH_ATTRIBUTE);
    problem.reason = fmt::format("{} has no {}", element.label(), printable(keyword));
    problem.hint = "it has " + keywordList(element);
    run.failed(Failure(std::move(problem)));
}

void printField(Run &run, const Field &field, bool withKeyword) {
    static const std::vector<std::string> set = {"TRUE"}; // a flag's value
    const auto &values = field.values.empty() ? set : field.values;
    for (const std::string &value : values)
        run.out.line(shown(withKeyword ? field.keyword + ": " + value : value));
}

void printFields(Run &run, const Element &element, const std::vector<std::string> &keywords) {
    Output::Json json = Output::Json::object();
    for (const std::string &keyword : keywords) {
        const Field *field = element.field(keyword);
        if (field == nullptr)
            reportMissing(run, element, keyword);
        else if (run.out.isJson())
            json[isExtension(keyword) ? field->keyword : jsonKey(field->keyword)] =
                jsonField(element.kind, *field);
        else
            printField(run, *field, keywords.size() > 1);
    }
    if (run.out.isJson())
        run.out.json(json);
}

} // namespace

void getFields(Run &run, const ShowOptions &options) {
    const Source source = readSource(run, options);
    const Element &element = requireOne(run, source, options.name, options.kind);
    if (!options.fields.empty())
        printFields(run, element, options.fields);
    else if (run.out.isJson())
        run.out.json(jsonElement(element));
    else
        run.out.line(shown(element.description));
}

} // namespace qldapx
