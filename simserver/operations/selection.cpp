#include "operations/selection.h"

#include "message.h"
#include "result.h"
#include "schema.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {

Selection Selection::decode(ber::Reader names, bool typesOnly) {
    constexpr std::size_t most = 1000; // each of them is looked for in each entry
    Selection selection;
    selection.typesOnly_ = typesOnly;
    selection.allUser_ = names.atEnd();
    while (!names.atEnd()) {
        const std::string_view name = names.text("requested attribute");
        if (name == "*")
            selection.allUser_ = true;
        else if (name == "+")
            selection.allOperational_ = true;
        else if (name != "1.1") // "1.1" asks for nothing
            selection.keys_.push_back(schema::keyOf(name));
        if (selection.keys_.size() > most)
            throw OperationError(ResultCode::AdminLimitExceeded,
                                 fmt::format("more than {} attributes are asked for", most));
    }
    return selection;
}

bool Selection::selects(std::string_view key) const {
    if (schema::isSubtype(key, schema::kPassword))
        return false;
    if (schema::isOperational(key) ? allOperational_ : allUser_)
        return true;
    return std::any_of(keys_.begin(), keys_.end(), [key](const std::string &wanted) {
        return !wanted.empty() && schema::isSubtype(key, wanted);
    });
}

void Selection::appendAttribute(ber::Writer &writer, std::string_view name,
                                const std::vector<std::string> &values) const {
    const std::size_t attribute = writer.open(ber::kSequence);
    writer.octets(name);
    const std::size_t set = writer.open(ber::kSet);
    if (!typesOnly_)
        for (const std::string &value : values)
            writer.octets(value);
    writer.close(set);
    writer.close(attribute);
}

// SearchResultEntry ::= [APPLICATION 4] SEQUENCE {
//     objectName LDAPDN, attributes SEQUENCE OF SEQUENCE { type, vals SET OF value } }
void Selection::appendEntry(std::string &out, std::int32_t id, const Node &node,
                            const Supplement *supplement) const {
    ber::Writer writer(out);
    const std::size_t message = writer.open(ber::kSequence);
    writer.integer(id);
    const std::size_t entry = writer.open(tag::kSearchEntry);
    writer.octets(node.dn);
    const std::size_t list = writer.open(ber::kSequence);
    for (const Attribute &attribute : node.entry.attributes())
        if (selects(attribute.key))
            appendAttribute(writer, attribute.name, attribute.values);
    for (const std::string &name : computedAttributes()) {
        const std::string key = schema::keyOf(name);
        if (selects(key))
            appendAttribute(writer, name, computedValues(node, key));
    }
    if (supplement != nullptr)
        for (const Attribute &attribute : supplement->attributes)
            appendAttribute(writer, attribute.name, attribute.values);
    writer.close(list);
    writer.close(entry);
    if (supplement != nullptr && !supplement->controls.empty())
        writer.octets(supplement->controls, tag::kControls);
    writer.close(message);
}

} // namespace stratasim
