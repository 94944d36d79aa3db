#pragma once

#include "operations/operations.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** An attribute of an add or modify request. */
struct RequestedAttribute {
    std::string name;
    std::string key;
    std::vector<std::string> values;
};

/** PartialAttribute ::= SEQUENCE { type, vals SET OF value } */
RequestedAttribute readAttribute(ber::Reader &reader);

struct AddRequest {
    std::string_view name;
    std::vector<RequestedAttribute> attributes;
};

/** AddRequest ::= [APPLICATION 8] SEQUENCE { entry LDAPDN, attributes SEQUENCE OF Attribute } */
AddRequest readAdd(ber::Reader &fields);

enum class ChangeKind { Add = 0, Delete = 1, Replace = 2, Increment = 3 };

struct RequestedChange {
    std::int64_t kind;
    RequestedAttribute attribute;
};

struct ModifyRequest {
    std::string_view name;
    std::vector<RequestedChange> changes;
};

/** ModifyRequest ::= [APPLICATION 6] SEQUENCE { object LDAPDN, changes SEQUENCE OF change } */
ModifyRequest readModify(ber::Reader &fields);

/** Changes the schema as the subschema entry is to show it; all or nothing. */
Result modifySchema(Context &context, const ModifyRequest &request);

/** Throws constraintViolation for an attribute that only the server writes. */
void requireWritable(const RequestedAttribute &attribute);
/** Throws when a value of the list is equal to one of the attribute or of the list itself. */
void addValues(Attribute &attribute, const std::vector<std::string> &values);
/** Throws unless the entry has classes, and single values where the schema has single ones. */
void requireConsistent(const Entry &entry);
/** Throws namingViolation unless the entry has the values of its own RDN. */
void requireRdnValues(const Dn &dn, const Entry &entry);
/** Throws for the root DSE and the entries that the server keeps itself. */
void requireUserEntry(const Dn &dn);

} // namespace stratasim
