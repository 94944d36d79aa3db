#include "operations/write.h"

#include "schema.h"

#include <fmt/format.h>

#include <unordered_set>

namespace stratasim {

RequestedAttribute readAttribute(ber::Reader &reader) {
    ber::Reader fields = reader.sequence("attribute");
    RequestedAttribute attribute;
    attribute.name = fields.text("attribute description");
    attribute.key = schema::keyOf(attribute.name);
    ber::Reader values(fields.take(ber::kSet, "attribute values"));
    while (!values.atEnd())
        attribute.values.emplace_back(values.text("attribute value"));
    return attribute;
}

void requireWritable(const RequestedAttribute &attribute) {
    if (attribute.key.empty())
        throw OperationError(ResultCode::UndefinedAttributeType,
                             fmt::format("\"{}\" is no attribute", attribute.name));
    if (schema::isReadOnly(attribute.key))
        throw OperationError(ResultCode::ConstraintViolation,
                             fmt::format("{} is kept by the server", attribute.name));
}

void addValues(Attribute &attribute, const std::vector<std::string> &values) {
    // Thousands of values in one request must not cost their square.
    std::unordered_set<std::string> present;
    for (const std::string &value : attribute.values)
        present.insert(normaliseValue(attribute.key, value));
    for (const std::string &value : values) {
        if (!present.insert(normaliseValue(attribute.key, value)).second)
            throw OperationError(ResultCode::AttributeOrValueExists,
                                 fmt::format("{} has that value already", attribute.name));
        attribute.values.push_back(value);
    }
}

void requireConsistent(const Entry &entry) {
    if (entry.find("objectclass") == nullptr)
        throw OperationError(ResultCode::ObjectClassViolation, "an entry needs an objectClass");
    for (const Attribute &attribute : entry.attributes())
        if (attribute.values.size() > 1 && schema::isSingleValued(attribute.key))
            throw OperationError(ResultCode::ConstraintViolation,
                                 fmt::format("{} takes one value", attribute.name));
}

void requireRdnValues(const Dn &dn, const Entry &entry) {
    for (const Ava &ava : dn.rdn) {
        const Attribute *attribute = entry.find(schema::keyOf(ava.type));
        if (attribute == nullptr || !hasValue(*attribute, ava.value))
            throw OperationError(
                ResultCode::NamingViolation,
                fmt::format("the entry lacks {}={} of its own name", ava.type, ava.value));
    }
}

void requireUserEntry(const Dn &dn) {
    if (isServerEntry(dn.key))
        throw OperationError(ResultCode::UnwillingToPerform,
                             fmt::format("\"{}\" is kept by the server", dn.text));
}

} // namespace stratasim
