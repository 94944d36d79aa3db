#include "schema/raw_file.h"

#include "errors.h"
#include "load/ldif_line.h"
#include "load/quiet_parse.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <ldap.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace qldapx {
namespace {

using Json = nlohmann::json;

/** The kind whose values an attribute of LDIF has, of a subschema entry or of slapd's own. */
std::optional<Kind> kindOfAttribute(std::string_view name) {
    constexpr std::string_view configuration = "olc";
    name = name.substr(0, name.find(';'));
    if (sameText(name.substr(0, configuration.size()), configuration))
        name.remove_prefix(configuration.size());
    for (const Kind kind : allKinds)
        if (sameText(name, namesOf(kind).attribute))
            return kind;
    return std::nullopt;
}

/** The same for a directive of slapd's configuration, which may be in the singular. */
std::optional<Kind> kindOfDirective(std::string_view name) {
    constexpr std::array singular = {std::pair{"attributetype", Kind::attribute_type},
                                     std::pair{"objectclass", Kind::object_class},
                                     std::pair{"ldapsyntax", Kind::syntax},
                                     std::pair{"ditcontentrule", Kind::dit_content_rule}};
    for (const auto &[word, kind] : singular)
        if (sameText(name, word))
            return kind;
    return kindOfAttribute(name);
}

bool isMacro(std::string_view name) {
    return sameText(name, "objectIdentifier") || sameText(name, "olcObjectIdentifier");
}

/** Without the place in an ordered list, as in "{12}( 1.2.3 ...". */
std::string_view withoutOrder(std::string_view value) {
    const std::size_t end = value.find_first_not_of("0123456789", 1);
    const bool ordered =
        value.starts_with('{') && end > 1 && end != std::string_view::npos && value[end] == '}';
    return ordered ? value.substr(end + 1) : value;
}

/** A description, or without a kind the definition of a macro. */
void take(RawFile &file, OidMacros &macros, std::optional<Kind> kind, std::string_view value,
          unsigned long line) {
    const std::string text(withoutOrder(value));
    if (kind) {
        file.descriptions.push_back({*kind, macros.expanded(text), line});
    } else {
        const std::string fault = macros.define(text);
        if (!fault.empty())
            file.faults.push_back({line, fault});
    }
}

std::string unfolded(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t end = text[i] == '\r' ? i + 1 : i;
        if (end < text.size() && text[end] == '\n')
            i = end + 1; // and the blank that follows
        else
            result += text[i];
    }
    return result;
}

struct FreeBytes {
    void operator()(char *bytes) const { ber_memfree(bytes); }
};

/** The value as bytes; libldap decodes it. */
std::optional<std::string> valueOf(std::string line) {
    berval name{}, value{};
    int isOwn = 0;
    if (parseLineQuietly(line.data(), name, value, isOwn) != 0)
        return std::nullopt;
    const std::unique_ptr<char, FreeBytes> owner(isOwn != 0 ? value.bv_val : nullptr);
    return std::string(value.bv_val == nullptr ? "" : value.bv_val, value.bv_len);
}

void takeLine(RawFile &file, OidMacros &macros, const LdifLine &line) {
    if (line.isComment() || line.whole.empty() || line.whole == "-")
        return;
    const std::string text = unfolded(line.whole);
    const LdifLine whole = {text, line.number, false};
    LdifField field;
    const std::string fault = parseField(whole, field);
    const unsigned long number = line.number + 1;
    if (!fault.empty()) {
        file.faults.push_back({number, fault});
        return;
    }
    if (sameText(field.name, "changetype") && !sameText(field.value, "add"))
        file.faults.push_back({number, "changes of a schema are for ldapmodify, not read here"});
    const std::optional<Kind> kind = kindOfAttribute(field.name);
    if (!kind && !isMacro(field.name))
        return;
    const auto value = field.form == LdifField::Form::File ? std::nullopt : valueOf(text);
    if (value)
        take(file, macros, kind, *value, number);
    else
        file.faults.push_back({number, fmt::format("the value of {} is neither text nor base64",
                                                   inQuotes(field.name))});
}

RawFile parseLdif(std::string_view content, OidMacros &macros) {
    RawFile file;
    LdifLines lines(content);
    for (LdifLine line{}; lines.next(line);)
        takeLine(file, macros, line);
    return file;
}

/** A directive of slapd's configuration with the lines that continue it. */
struct Directive {
    std::string text;
    unsigned long line = 0;
};

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

void takeDirective(RawFile &file, OidMacros &macros, const Directive &directive) {
    const std::size_t end = directive.text.find_first_of(" \t(");
    const std::string name = directive.text.substr(0, end);
    if (name.empty() || name.starts_with('#'))
        return;
    const std::string value = end == std::string::npos ? "" : directive.text.substr(end);
    const std::optional<Kind> kind = kindOfDirective(name);
    if (kind || isMacro(name))
        take(file, macros, kind, withoutFill(value), directive.line);
    else
        file.faults.push_back(
            {directive.line, fmt::format("{} begins no description", inQuotes(name))});
}

RawFile parseConfiguration(std::string_view content, OidMacros &macros) {
    RawFile file;
    Directive directive;
    unsigned long number = 0;
    for (const std::string &whole : split(content, '\n')) {
        ++number;
        const std::string line = whole.ends_with('\r') ? whole.substr(0, whole.size() - 1) : whole;
        if (withoutFill(line).empty())
            continue;
        if (isBlank(line.front())) {
            directive.text += line; // with its blanks, as slapd takes it
            continue;
        }
        takeDirective(file, macros, directive);
        directive = {line, number};
    }
    takeDirective(file, macros, directive);
    return file;
}

void takeJson(RawFile &file, const Json &element) {
    const auto text = [&](const char *member) {
        const auto found = element.is_object() ? element.find(member) : element.end();
        return found != element.end() && found->is_string() ? found->get<std::string>() : "";
    };
    const std::optional<Kind> kind = kindNamed(text("kind"));
    if (kind && !text("definition").empty())
        file.descriptions.push_back({*kind, text("definition"), 1});
    else
        file.faults.push_back({1, "an element without \"kind\" and \"definition\""});
}

RawFile parseJson(std::string_view content) {
    RawFile file;
    const Json json = Json::parse(content, nullptr, false);
    const bool wrapped = json.is_object() && json.contains("elements");
    const Json &elements = wrapped ? json["elements"] : json;
    if (!elements.is_array()) {
        file.faults.push_back({1, "it is no list of elements as qldapx schema export writes it"});
        return file;
    }
    for (const Json &element : elements)
        takeJson(file, element);
    return file;
}

/** The first line that says something; what its first word is tells the forms apart. */
std::string_view firstLine(std::string_view content) {
    while (!content.empty()) {
        const std::string_view line = content.substr(0, content.find('\n'));
        const std::size_t start = line.find_first_not_of(" \t\r");
        if (start != std::string_view::npos && line[start] != '#')
            return line.substr(start);
        content.remove_prefix(std::min(line.size() + 1, content.size()));
    }
    return {};
}

} // namespace

std::string OidMacros::valueOf(std::string_view word) const {
    const std::size_t colon = word.find(':');
    const auto found = values_.find(lowerCase(word.substr(0, colon)));
    if (found == values_.end())
        return {};
    return colon == std::string_view::npos
               ? found->second
               : fmt::format("{}.{}", found->second, word.substr(colon + 1));
}

std::string OidMacros::define(const std::string &definition) {
    const std::size_t end = definition.find_first_of(" \t");
    if (end == std::string::npos)
        return fmt::format("{} has no OID", inQuotes(definition));
    std::string value(withoutFill(std::string_view(definition).substr(end)));
    value.erase(value.find_last_not_of(" \t") + 1);
    if (value.find_first_not_of("0123456789.") != std::string::npos) {
        const std::string known = valueOf(value);
        if (known.empty())
            return fmt::format("{} names no OID that is known here", inQuotes(value));
        value = known;
    }
    values_[lowerCase(definition.substr(0, end))] = value;
    return {};
}

std::string OidMacros::expanded(const std::string &text) const {
    constexpr const char *ends = " \t\n()'{";
    std::string result;
    bool quoted = false, isOid = false; // where an OID stands: at the start, and behind SYNTAX
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length =
            std::max<std::size_t>(std::min(text.find_first_of(ends, i), text.size()) - i, 1);
        const std::string word = text.substr(i, length);
        i += length;
        const std::string value = isOid && !values_.empty() ? valueOf(word) : "";
        const bool isFirst = result.find_first_not_of(" \t\n") == std::string::npos;
        result += value.empty() ? word : value;
        if (word == "'")
            quoted = !quoted; // some files quote the OID
        else if (!isBlank(word.front()) && word != "\n")
            isOid = (isFirst && word == "(") || (!quoted && sameText(word, "SYNTAX"));
    }
    return result;
}

RawFile parseSchemaFile(std::string_view content, OidMacros &macros) {
    const std::string_view first = firstLine(content);
    if (first.starts_with('{') || first.starts_with('['))
        return parseJson(content);
    const std::string_view word = first.substr(0, first.find_first_of(" \t(:"));
    const bool isLdif = first.substr(word.size()).starts_with(':');
    return isLdif || first.empty() ? parseLdif(content, macros)
                                   : parseConfiguration(content, macros);
}

std::string readWholeFile(const std::string &path) {
    constexpr std::size_t largest = std::size_t{256} << 20U, block = 65536;
    const auto close = [](FILE *file) { return file == stdin ? 0 : std::fclose(file); };
    const std::unique_ptr<FILE, decltype(close)> file(
        path == "-" ? stdin : std::fopen(path.c_str(), "re"), close);
    const auto fail = [&](const std::string &why) {
        throw UsageError(fmt::format("cannot read {}: {}", printable(path), why),
                         "name a file of schema descriptions: LDIF, or slapd's *.schema");
    };
    if (file == nullptr)
        fail(std::strerror(errno));
    std::string content;
    for (std::size_t got = 1; got > 0 && content.size() <= largest;) {
        const std::size_t before = content.size();
        content.resize(before + block);
        got = std::fread(content.data() + before, 1, block, file.get());
        content.resize(before + got);
    }
    if (std::ferror(file.get()) != 0)
        fail(std::strerror(errno));
    if (content.size() > largest)
        fail(fmt::format("it has more than {} MiB", largest >> 20U));
    return content;
}

} // namespace qldapx
