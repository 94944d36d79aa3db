#include "subschema.h"

#include "ldif_lines.h"
#include "text.h"

namespace stratasim {
namespace {

Entry bareEntry() {
    Entry entry;
    entry.set("objectClass", {"top", "subentry", "subschema"});
    entry.add("cn", "schema");
    return entry;
}

} // namespace

void addSubschema(Directory &directory) {
    Entry entry = bareEntry();
    showSchema(entry, *directory.schema);
    directory.stampCreated(entry, {directory.administratorDn().text, {}});
    directory.tree.addRoot(requireDn(kSubschemaDn), std::move(entry));
}

void showSchema(Entry &entry, const schema::Model &model) {
    // Anew, in the order of the table, so that clients see an order that no change disturbs.
    for (const schema::KindRow &row : schema::kKindRows)
        entry.remove(schema::keyOf(row.attribute));
    for (const schema::KindRow &row : schema::kKindRows)
        if (!model.elements(row.kind).empty())
            entry.set(row.attribute, model.texts(row.kind));
}

void showVerbatim(Directory &directory, std::istream &ldif) {
    Entry entry = bareEntry();
    LdifLines lines(ldif);
    Attribute *last = nullptr;
    for (std::string line; lines.next(line);) {
        if (line.empty())
            continue;
        LdifPair pair = parseLdifLine(line, lines.number());
        if (!schema::kindOfAttribute(pair.name))
            continue;
        if (last == nullptr || last->name != pair.name)
            last = &entry.append({pair.name, schema::keyOf(pair.name), {}});
        last->values.push_back(std::move(pair.value));
    }
    directory.tree.find(kSubschemaDn)->entry = std::move(entry);
    directory.schemaVerbatim = true;
}

} // namespace stratasim
