#include "schema/source.h"

#include "errors.h"
#include "schema/description.h"
#include "schema/raw_file.h"
#include "schema/server_schema.h"
#include "text.h"

#include <fmt/format.h>
#include <ldap.h>

namespace qldapx {
namespace {

std::string baseName(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

std::string filesTitle(const std::vector<std::string> &paths) {
    return paths.size() == 1 ? baseName(paths.front()) : fmt::format("{} files", paths.size());
}

void readFile(const std::string &path, OidMacros &macros, Source &source) {
    const std::string content = readWholeFile(path);
    const RawFile file = parseSchemaFile(content, macros);
    const auto place = [&](unsigned long line) { return fmt::format("{}:{}", path, line); };
    for (const FileFault &fault : file.faults)
        source.faults.push_back(fmt::format("{}: {}", printable(place(fault.line)), fault.text));
    for (const RawDescription &raw : file.descriptions) {
        ParsedDescription parsed = parseDescription(raw.kind, raw.text, Reading::Lenient);
        if (!parsed.element) {
            source.faults.push_back(fmt::format("{}: {}: {}", printable(place(raw.line)),
                                                namesOf(raw.kind).title, parsed.fault));
            continue;
        }
        parsed.element->place = place(raw.line);
        source.model.add(std::move(*parsed.element));
    }
}

} // namespace

void addSourceOptions(CLI::App &command, SourceOptions &options) {
    command
        .add_option("--file", options.files,
                    "Read these files instead of a server: LDIF, slapd's *.schema or JSON")
        ->type_name("FILE...");
    command.add_option("--dn", options.dn, "The subschema entry; without it the root DSE names it")
        ->type_name("DN");
}

Source readFiles(const std::vector<std::string> &paths) {
    Source source;
    source.name = filesTitle(paths);
    source.dn = "cn=schema";
    OidMacros macros;
    for (const std::string &path : paths)
        readFile(path, macros, source);
    return source;
}

Source readSource(Run &run, const SourceOptions &options) {
    if (options.files.empty()) {
        const ServerSchema server(run, options.dn);
        return {server.model(), run.uri(), server.dn(), {}};
    }
    Source source = readFiles(options.files);
    if (!options.dn.empty())
        source.dn = options.dn;
    for (const std::string &fault : source.faults)
        warn(fault, run.out.isJson());
    if (!source.faults.empty())
        run.endsInFailure();
    return source;
}

std::vector<const Element *> requireElements(const Run &run, const Source &source,
                                             const std::string &name, std::optional<Kind> kind) {
    auto elements = source.model.find(name, kind);
    if (!elements.empty())
        return elements;
    Problem problem;
    problem.operation = run.name();
    problem.object = name;
    problem.code = LDAP_NO_SUCH_OBJECT;
    problem.name = ldap_err2string(LDAP_NO_SUCH_OBJECT);
    problem.reason = fmt::format("the schema of {} has no {} of this name or OID",
                                 printable(source.name), kind ? namesOf(*kind).title : "element");
    const auto similar = source.model.similar(name, kind);
    problem.hint = similar.empty()
                       ? fmt::format("qldapx schema list --like '*{}*'", printable(name))
                       : printable(fmt::format("{}?", fmt::join(similar, ", ")));
    throw Failure(std::move(problem));
}

const Element &requireOne(const Run &run, const Source &source, const std::string &name,
                          const std::string &kindName) {
    const auto kind = kindName.empty() ? std::nullopt : std::optional(requireKind(kindName));
    const auto elements = requireElements(run, source, name, kind);
    if (elements.size() == 1)
        return *elements.front();
    std::string all;
    for (const Element *element : elements)
        all += (all.empty() ? "" : ", ") + element->label();
    throw UsageError(fmt::format("\"{}\" names several elements: {}", printable(name), all),
                     "choose with --kind, or name the OID");
}

} // namespace qldapx
