// schema_record.h - one description as libldap itself reads it and prints it, and its fields in the
// words of the library's interface.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test {

constexpr unsigned schemaKinds = 8;
// Of the subschema subentry, in the order of the interface's kinds.
extern const char *const schemaAttributes[schemaKinds];

// By keyword; a flag has the value "".
using Fields = std::map<std::string, std::vector<std::string>>;

struct SchemaRecord {
    std::string key; // the OID or rule id; empty: none
    std::vector<std::string> names;
    std::string printed;
    Fields fields;
};

// Nothing when libldap's parser, told to be as lenient as with real servers, does not understand
// it.
std::optional<SchemaRecord> readDescription(unsigned kind, const std::string &description);

} // namespace test
