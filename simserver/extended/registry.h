#pragma once

#include "directory.h"
#include "extended/arguments.h"
#include "faults.h"
#include "message.h"
#include "operations/operations.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** A decoded request on its way to its operation. */
struct ExtendedCall {
    Directory &directory;
    Connection &connection;
    const Identity &identity;
    const Arguments &arguments;
    std::int32_t id;                      // of the message
    std::unique_ptr<OpenOperation> &open; // set by an operation that goes on after its answer
};

/** The response value, if the operation has one. */
using ResponseValue = std::optional<std::string>;

struct ExtendedOperation {
    enum class Access { Open, Administrator };

    std::string oid;
    std::optional<std::string> responseOid;
    std::string_view name; // for people: command line and log
    Access access;
    std::string_view format; // of the request value; see Arguments
    ResponseValue (*handler)(const ExtendedCall &);
    bool trigger = false; // it starts a process of the server
};

/** The row of an administrative operation: request `number`, response the number after it. */
ExtendedOperation strataOperation(int number, std::string_view name,
                                  ExtendedOperation::Access access, std::string_view format,
                                  ResponseValue (*handler)(const ExtendedCall &));

/** A response value that is one OCTET STRING. */
std::string octetString(std::string_view text);

// The families.
std::vector<ExtendedOperation> partitionOperations();
std::vector<ExtendedOperation> replicaOperations();
std::vector<ExtendedOperation> replicationFilterOperations();
std::vector<ExtendedOperation> identityOperations();
std::vector<ExtendedOperation> nameOperations();
std::vector<ExtendedOperation> triggerOperations();
std::vector<ExtendedOperation> archiveOperations();
std::vector<ExtendedOperation> eventOperations();

/** All operations of all families, in the order of their rows. */
const std::vector<ExtendedOperation> &extendedOperations();
/** By OID or by name; nullptr when there is none. */
const ExtendedOperation *findExtendedOperation(std::string_view oidOrName);

/** An ExtendedRequest; `operation` is null when it is none that this server has. */
struct ExtendedRequest {
    std::int32_t id; // of the message
    std::string_view oid;
    std::optional<Bytes> value;
    const ExtendedOperation *operation;
};

ExtendedRequest decodeExtended(const Request &request);
/**
 * Serves the request, unless `fault` gives the result code itself; null is no fault. `open` is
 * set when the operation goes on.
 */
ExtendedReply serveExtended(Context &context, const ExtendedRequest &request, const Fault *fault,
                            std::unique_ptr<OpenOperation> &open);

} // namespace stratasim
