#include "extended/registry.h"
#include "operations/controls.h"
#include "operations/operations.h"
#include "sasl/digest_md5.h"
#include "sasl/external.h"

namespace stratasim {
namespace {

/** EXTERNAL only where the client has a certificate that proves something. */
std::vector<std::string> mechanisms(const Connection &connection) {
    std::vector<std::string> names = {std::string(digest::kMechanism)};
    if (connection.security && connection.security->subject)
        names.emplace_back(external::kMechanism);
    return names;
}

} // namespace

std::shared_ptr<Node> makeRootDse(const Directory &directory, const Connection &connection) {
    auto node = std::make_shared<Node>();
    Entry &entry = node->entry;
    entry.set("objectClass", {"top"});
    entry.set("namingContexts", directory.namingContexts());
    entry.set("supportedLDAPVersion", {"3"});
    std::vector<std::string> extensions;
    for (const ExtendedOperation &operation : extendedOperations())
        if (isServed(directory, operation))
            extensions.push_back(operation.oid);
    entry.set("supportedExtension", std::move(extensions));
    entry.set("supportedSASLMechanisms", mechanisms(connection));
    entry.set("supportedControl", supportedControls());
    // Increment (RFC 4525), "+" (RFC 3673), filters that are always true or false (RFC 4526).
    entry.set("supportedFeatures",
              {"1.3.6.1.1.14", "1.3.6.1.4.1.4203.1.5.1", "1.3.6.1.4.1.4203.1.5.3"});
    entry.set("vendorName", {kVendorName});
    entry.set("vendorVersion", {kVendorVersion});
    return node;
}

} // namespace stratasim
