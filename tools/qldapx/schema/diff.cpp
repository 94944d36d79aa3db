#include "schema/diff.h"

#include "errors.h"
#include "schema/difference.h"
#include "schema/element_json.h"
#include "text.h"

#include <filesystem>
#include <fmt/format.h>

namespace qldapx {
namespace {

bool isUrl(const std::string &text) {
    const std::size_t colon = text.find("://");
    return colon != std::string::npos && sameText(text.substr(0, 4), "ldap");
}

/** Names with commas between them, or one with commas in it. */
std::vector<std::string> fileNames(const std::string &text) {
    std::error_code error;
    return std::filesystem::exists(text, error) ? std::vector<std::string>{text} : split(text, ',');
}

Source readSide(Run &run, const DiffOptions &options, const std::string &side) {
    SourceOptions source;
    source.dn = options.dn;
    if (isUrl(side))
        run.reach(side);
    else if (!side.empty())
        source.files = fileNames(side);
    return readSource(run, source);
}

std::string changeLine(const Style &style, const ElementChange &change) {
    const Element &element = change.any();
    const std::string name = printable(element.title());
    if (change.right == nullptr)
        return style.red(fmt::format("- {} ({})", name, printable(element.key)));
    if (change.left == nullptr)
        return style.green(fmt::format("+ {} ({})", name, printable(element.key)));
    std::string words;
    for (const FieldChange &field : change.fields)
        words += (words.empty() ? "" : "; ") + inWords(field);
    return fmt::format("{} {}: {}", style.bold("~"), name, words);
}

void printChanges(Output &out, const Source &left, const Source &right,
                  const std::vector<ElementChange> &changes) {
    const Style &style = out.style();
    if (changes.empty())
        return;
    out.line(style.red("--- " + printable(left.name)));
    out.line(style.green("+++ " + printable(right.name)));
    std::optional<Kind> kind;
    for (const ElementChange &change : changes) {
        if (kind != change.any().kind)
            out.line("\n" + style.bold(namesOf(change.any().kind).titles));
        kind = change.any().kind;
        out.line(changeLine(style, change));
    }
}

Output::Json jsonChange(const ElementChange &change) {
    Output::Json json = {{"change", change.right == nullptr  ? "lost"
                                    : change.left == nullptr ? "gained"
                                                             : "changed"}};
    json.update(jsonReference(change.any()));
    json["fields"] = Output::Json::array();
    for (const FieldChange &field : change.fields)
        json["fields"].push_back(
            {{"keyword", field.keyword}, {"lost", field.lost}, {"gained", field.gained}});
    return json;
}

void printJson(Output &out, const Source &left, const Source &right,
               const std::vector<ElementChange> &changes) {
    Output::Json json = {{"left", left.name}, {"right", right.name}, {"same", changes.empty()}};
    json["differences"] = Output::Json::array();
    for (const ElementChange &change : changes)
        json["differences"].push_back(jsonChange(change));
    out.json(json);
}

} // namespace

void diffSchemas(Run &run, const DiffOptions &options) {
    const bool withServer = options.second.empty();
    const std::string &firstSide = withServer ? options.second : options.first;
    const std::string &secondSide = withServer ? options.first : options.second;
    if (isUrl(secondSide) && (withServer || isUrl(firstSide)))
        run.keepPassword();
    const Source left = readSide(run, options, firstSide);
    const Source right = readSide(run, options, secondSide);
    const auto changes = Comparison{left.model, right.model, options.extensions}.changes();
    if (run.out.isJson())
        printJson(run.out, left, right, changes);
    else
        printChanges(run.out, left, right, changes);
    if (!changes.empty())
        run.endsWith(exitDifferent);
    if (!left.faults.empty() || !right.faults.empty())
        run.endsWith(exitTrouble);
}

} // namespace qldapx
