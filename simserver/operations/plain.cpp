#include "operations/plain.h"

#include "events/operation_events.h"

#include <algorithm>
#include <iterator>

namespace stratasim {
namespace {

constexpr PlainOperation kPlain[] = {
    {tag::kModifyRequest, tag::kModifyResponse, "modify", modify},
    {tag::kAddRequest, tag::kAddResponse, "add", add},
    {tag::kDeleteRequest, tag::kDeleteResponse, "delete", remove},
    {tag::kModifyDnRequest, tag::kModifyDnResponse, "modify-dn", modifyDn},
    {tag::kCompareRequest, tag::kCompareResponse, "compare", compare},
};

Result run(const PlainOperation &operation, Directory &directory, Connection &connection,
           const Identity &who, const Request &request) {
    try {
        return inContext(directory, connection, who, request, [&](Context &context) {
            return operation.handler(context, request.body);
        });
    } catch (const OperationError &error) {
        return error.result();
    }
}

} // namespace

const PlainOperation *findPlain(std::uint8_t request) {
    const auto found =
        std::find_if(std::begin(kPlain), std::end(kPlain),
                     [&](const PlainOperation &row) { return row.request == request; });
    return found == std::end(kPlain) ? nullptr : found;
}

Result servePlain(const PlainOperation &operation, Directory &directory, Connection &connection,
                  const Identity &who, const Request &request) {
    Result result = run(operation, directory, connection, who, request);
    raiseOperation({directory, connection, request, result});
    return result;
}

} // namespace stratasim
