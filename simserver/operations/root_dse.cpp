#include "extended/registry.h"
#include "operations/controls.h"
#include "operations/operations.h"
#include "sasl/digest_md5.h"

namespace stratasim {

std::shared_ptr<Node> makeRootDse(const Directory &directory) {
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
    entry.set("supportedSASLMechanisms", {std::string(digest::kMechanism)});
    entry.set("supportedControl", supportedControls());
    // Increment (RFC 4525), "+" (RFC 3673), filters that are always true or false (RFC 4526).
    entry.set("supportedFeatures",
              {"1.3.6.1.1.14", "1.3.6.1.4.1.4203.1.5.1", "1.3.6.1.4.1.4203.1.5.3"});
    entry.set("vendorName", {kVendorName});
    entry.set("vendorVersion", {kVendorVersion});
    return node;
}

} // namespace stratasim
