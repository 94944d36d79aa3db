#include "entry_output.h"

#include "encoding.h"
#include "errors.h"
#include "text.h"

#include <fmt/format.h>
#include <ldif.h>

namespace qldapx {
namespace {

struct FreeText {
    void operator()(char *text) const { ber_memfree(text); }
};

std::string_view textOf(const berval &value) {
    return {value.bv_val, value.bv_len};
}

void printLine(Output &out, int type, const std::string &name, std::string_view value) {
    const char *bytes = value.empty() ? "" : value.data();
    const std::unique_ptr<char, FreeText> line(
        ldif_put(type, name.c_str(), bytes, static_cast<ber_len_t>(value.size())));
    if (line == nullptr)
        throw std::bad_alloc();
    out.text(line.get());
}

nlohmann::json jsonValue(std::string_view value) {
    if (isUtf8(value))
        return value;
    return jsonBytes<nlohmann::json>(value);
}

} // namespace

void printLdif(Output &out, const Entry &entry, bool typesOnly) {
    printLine(out, LDIF_PUT_VALUE, "dn", entry.dn);
    for (const Attribute &attribute : entry.attributes) {
        // libldap writes a name as it is.
        const std::string name = printable(attribute.name);
        if (typesOnly)
            printLine(out, LDIF_PUT_NOVALUE, name, {});
        for (const berval &value : attribute.values)
            printLine(out, LDIF_PUT_VALUE, name, textOf(value));
    }
    out.line("");
}

std::string ldifComment(const std::string &text) {
    return "# " + printable(text) + "\n";
}

std::string jsonMembers(const Entry &entry) {
    // Sorted: an ordered object looks through all its members for each new one.
    nlohmann::json attributes = nlohmann::json::object();
    for (const Attribute &attribute : entry.attributes) {
        nlohmann::json &values = attributes[std::string(attribute.name)];
        if (values.is_null())
            values = nlohmann::json::array();
        for (const berval &value : attribute.values)
            values.push_back(jsonValue(textOf(value)));
    }
    return fmt::format(R"("dn":{},"attributes":{})", jsonText(nlohmann::json(entry.dn)),
                       jsonText(attributes));
}

void EntryPrinter::item(const std::string &json) {
    out_.text((empty_ ? "[\n  " : ",\n  ") + json);
    empty_ = false;
}

bool EntryPrinter::entry(LDAP * /*ld*/, const Entry &entry, LDAPControl ** /*controls*/) {
    ++entries_;
    if (out_.isJson())
        item("{" + jsonMembers(entry) + "}");
    else
        printLdif(out_, entry, typesOnly_);
    return true;
}

void EntryPrinter::reference(const std::vector<std::string> &uris) {
    if (out_.isJson())
        return item(jsonText(Output::Json{{"references", uris}}));
    for (const std::string &uri : uris)
        out_.text(ldifComment("ref: " + uri));
    out_.text("\n");
}

void EntryPrinter::finish() {
    if (out_.isJson())
        out_.line(empty_ ? "[]" : "\n]");
}

std::size_t searchAndPrint(Run &run, const SearchRequest &request) {
    EntryPrinter printer(run.out, request.typesOnly);
    run.open();
    try {
        search(run, request, printer);
    } catch (const Failure &failure) {
        run.failed(failure);
    }
    printer.finish();
    return printer.entries();
}

} // namespace qldapx
