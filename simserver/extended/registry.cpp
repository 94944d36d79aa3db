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
          nameOperations, triggerOperations, archiveOperations, eventOperations})
        for (ExtendedOperation &operation : family())
            all.push_back(std::move(operation));
    return all;
}

ResponseValue run(const ExtendedRequest &request, Context &context,
                  std::unique_ptr<OpenOperation> &open) {
    const ExtendedOperation &operation = *request.operation;
    const Arguments arguments(operation.format, request.value);
    if (operation.access == ExtendedOperation::Access::Administrator)
        requireRight(context.directory, context.identity, "", "*", right::kAdminister);
    return operation.handler(
        {context.directory, context.connection, context.identity, arguments, request.id, open});
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
ExtendedRequest decodeExtended(const Request &request) {
    ber::Reader fields(request.body);
    const std::string_view oid = asText(fields.take(kRequestName, "request OID"));
    const auto value = fields.takeIf(kRequestValue, "request value");
    const ExtendedOperation *operation = findExtendedOperation(oid);
    return {request.id, oid, value,
            operation != nullptr && operation->oid == oid ? operation : nullptr};
}

ExtendedReply serveExtended(Context &context, const ExtendedRequest &request, const Fault *fault,
                            std::unique_ptr<OpenOperation> &open) {
    if (request.operation == nullptr)
        return {{ResultCode::ProtocolError, {}, fmt::format("{} is not served here", request.oid)},
                {},
                {}};
    ExtendedReply reply{{}, request.operation->responseOid, {}};
    try {
        if (fault != nullptr && fault->code)
            throw OperationError(static_cast<ResultCode>(*fault->code), fault->diagnostic);
        reply.value = run(request, context, open);
    } catch (const ber::Error &error) {
        // The value is the operation's own matter: the connection goes on.
        reply.result = {ResultCode::ProtocolError, {}, error.what()};
    } catch (const OperationError &error) {
        reply.result = error.result();
    }
    return reply;
}

} // namespace stratasim
