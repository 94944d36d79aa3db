#include "schema/export.h"

#include "errors.h"
#include "new_file.h"
#include "schema/element_json.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <ldif.h>
#include <memory>
#include <system_error>

namespace qldapx {
namespace {

struct FreeText {
    void operator()(char *text) const { ber_memfree(text); }
};

std::vector<Kind> wantedKinds(const ExportOptions &options) {
    std::vector<Kind> kinds;
    for (const std::string &name : options.kinds)
        kinds.push_back(requireKind(name));
    return kinds.empty() ? std::vector<Kind>(allKinds.begin(), allKinds.end()) : kinds;
}

/** A backslash that begins neither \27 nor \5c, as some servers keep it, made one that does. */
std::string escaped(const std::string &text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        const std::string digits = lowerCase(text.substr(i + 1, 2));
        if (text[i] == '\\' && digits != "27" && digits != "5c")
            result += "5c";
    }
    return result;
}

/**
 * A description that others can read: with a word in the place of an OID that is missing, as files
 * have it, which libldap passes over.
 */
std::string loadable(const Element &element) {
    const std::string text = escaped(element.description);
    const std::size_t start = text.find('(');
    if (!element.key.empty() || element.names().empty() || start == std::string::npos)
        return text;
    return fmt::format("( {}-oid{}", element.names().front(), text.substr(start + 1));
}

std::string asLdif(const Source &source, const std::vector<Kind> &kinds) {
    std::string text = ldifLine("dn", source.dn);
    for (const char *name : {"top", "subschema"})
        text += ldifLine("objectClass", name);
    for (const Kind kind : kinds)
        for (const Element &element : source.model.elements(kind))
            text += ldifLine(namesOf(kind).attribute, loadable(element));
    return text;
}

std::string asJson(const Source &source, const std::vector<Kind> &kinds) {
    Output::Json elements = Output::Json::array();
    for (const Kind kind : kinds)
        for (const Element &element : source.model.elements(kind))
            elements.push_back(jsonElement(element));
    return jsonText(Output::Json{{"dn", source.dn}, {"elements", std::move(elements)}}, 2) + "\n";
}

} // namespace

void writeNewFile(const Run &run, const std::string &path, bool replace, std::string_view bytes) {
    try {
        NewFile file(path, replace);
        file.write(bytes);
        file.keep();
    } catch (const std::system_error &error) {
        Problem problem;
        problem.operation = run.name();
        problem.object = path;
        problem.reason = error.what();
        problem.hint = "make room, or write elsewhere";
        throw Failure(std::move(problem));
    }
}

std::string ldifLine(const std::string &name, std::string_view value) {
    const char *bytes = value.empty() ? "" : value.data();
    const std::unique_ptr<char, FreeText> line(
        ldif_put(LDIF_PUT_VALUE, name.c_str(), bytes, static_cast<ber_len_t>(value.size())));
    if (line == nullptr)
        throw std::bad_alloc();
    return line.get();
}

void exportSchema(Run &run, const ExportOptions &options) {
    const auto kinds = wantedKinds(options);
    const bool toFile = !options.file.empty() && options.file != "-";
    if (toFile)
        checkTarget(options.file, options.replace);
    const Source source = readSource(run, options);
    const std::string text = run.out.isJson() ? asJson(source, kinds) : asLdif(source, kinds);
    if (!toFile)
        return run.out.text(text);
    writeNewFile(run, options.file, options.replace, text);
    run.done(fmt::format("schema written: {}", printable(options.file)),
             {{"dn", source.dn}, {"file", options.file}, {"bytes", text.size()}});
}

} // namespace qldapx
