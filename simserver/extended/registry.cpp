#include "extended/registry.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

constexpr std::uint8_t kRequestName = 0x80;
constexpr std::uint8_t kRequestValue = 0x81;

std::vector<ExtendedOperation> collect() {
    std::vector<ExtendedOperation> all;
    for (const auto family :
         {partitionOperations, replicaOperations, replicationFilterOperations, identityOperations,
          nameOperations, triggerOperations, archiveOperations, eventOperations, lburpOperations})
        for (ExtendedOperation &operation : family())
            all.push_back(std::move(operation));
    return all;
}

ResponseValue run(const ExtendedRequest &request, Context &context, const Fault *fault,
                  ExtendedAftermath &after) {
    const ExtendedOperation &operation = *request.operation;
    if (operation.await == nullptr)
        requireNoCode(fault);
    const Arguments arguments(operation.format, request.value);
    if (operation.access == ExtendedOperation::Access::Administrator)
        requireRight(context.directory, context.identity, "", "*", right::kAdminister);
    const ExtendedCall call{context.directory,
                            context.connection,
                            context.identity,
                            arguments,
                            request.received,
                            fault,
                            after};
    if (operation.await != nullptr) {
        after.waiting = operation.await(call);
        if (after.waiting)
            return {};
        requireNoCode(fault); // faults go by the order of the answers
    }
    return operation.handler(call);
}

} // namespace

ExtendedOperation strataOperation(int number, std::string_view name,
                                  ExtendedOperation::Access access, std::string_view format,
                                  ResponseValue (*handler)(const ExtendedCall &)) {
    constexpr std::string_view arc = "2.16.840.1.907341.1.27.100";
    return {fmt::format("{}.{}", arc, number),
            fmt::format("{}.{}", arc, number + 1),
            name,
            access,
            format,
            handler};
}

std::string octetString(std::string_view text) {
    std::string value;
    ber::Writer(value).octets(text);
    return value;
}

const std::vector<ExtendedOperation> &extendedOperations() {
    static const std::vector<ExtendedOperation> operations = collect();
    return operations;
}

bool isServed(const Directory &directory, const ExtendedOperation &operation) {
    return !operation.lburp || directory.lburp.served;
}

const ExtendedOperation *findExtendedOperation(std::string_view oidOrName) {
    const auto &all = extendedOperations();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const ExtendedOperation &operation) {
            return operation.oid == oidOrName || operation.name == oidOrName;
        });
    return found == all.end() ? nullptr : &*found;
}

// ExtendedRequest ::= [APPLICATION 23] SEQUENCE { requestName [0] LDAPOID,
//     requestValue [1] OCTET STRING OPTIONAL }
ExtendedRequest decodeExtended(const Directory &directory, const Request &request) {
    ber::Reader fields(request.body);
    const std::string_view oid = asText(fields.take(kRequestName, "request OID"));
    const auto value = fields.takeIf(kRequestValue, "request value");
    const ExtendedOperation *operation = findExtendedOperation(oid);
    const bool known =
        operation != nullptr && operation->oid == oid && isServed(directory, *operation);
    return {request, oid, value, known ? operation : nullptr};
}

ExtendedReply serveExtended(Context &context, const ExtendedRequest &request, const Fault *fault,
                            ExtendedAftermath &after) {
    if (request.operation == nullptr)
        return {{ResultCode::ProtocolError, {}, fmt::format("{} is not served here", request.oid)},
                {},
                {}};
    ExtendedReply reply{{}, request.operation->responseOid, {}};
    try {
        reply.value = run(request, context, fault, after);
        reply.result = after.result;
    } catch (const ber::Error &error) {
        // The value is the operation's own matter: the connection goes on.
        reply.result = {ResultCode::ProtocolError, {}, error.what()};
    } catch (const OperationError &error) {
        reply.result = error.result();
    }
    return reply;
}

} // namespace stratasim
