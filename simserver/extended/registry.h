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

/** What a request leaves besides its response value. */
struct ExtendedAftermath {
    Result result;                          // comes with the value
    std::unique_ptr<OpenOperation> open;    // goes on after the answer
    std::unique_ptr<OpenOperation> waiting; // for its turn: there is no answer yet
};

/** A decoded request on its way to its operation. */
struct ExtendedCall {
    Directory &directory;
    Connection &connection;
    const Identity &identity;
    const Arguments &arguments;
    const Request &request;
    const Fault *fault; // null is none
    ExtendedAftermath &after;
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
    bool lburp = false;   // it is part of bulk updates
    /** Gives what waits when it is not the request's turn; null for operations without turns. */
    std::unique_ptr<OpenOperation> (*await)(const ExtendedCall &) = nullptr;
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
std::vector<ExtendedOperation> lburpOperations();

/** All operations of all families, in the order of their rows. */
const std::vector<ExtendedOperation> &extendedOperations();
/** By OID or by name; nullptr when there is none. */
const ExtendedOperation *findExtendedOperation(std::string_view oidOrName);

/** False for what the command line has switched off. */
bool isServed(const Directory &directory, const ExtendedOperation &operation);

/** An ExtendedRequest; `operation` is null when it is none that this server has. */
struct ExtendedRequest {
    const Request &received;
    std::string_view oid;
    std::optional<Bytes> value;
    const ExtendedOperation *operation;
};

ExtendedRequest decodeExtended(const Directory &directory, const Request &request);
/**
 * Serves the request, unless `fault` gives the result code itself; null is no fault. While the
 * request waits for its turn, the reply is nothing to be sent.
 */
ExtendedReply serveExtended(Context &context, const ExtendedRequest &request, const Fault *fault,
                            ExtendedAftermath &after);

} // namespace stratasim
