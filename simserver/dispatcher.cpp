#include "dispatcher.h"

#include "events/operation_events.h"
#include "extended/registry.h"
#include "operations/controls.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace stratasim {
namespace {

/** The operations that are answered with one LDAPResult. */
struct PlainOperation {
    std::uint8_t request;
    std::uint8_t response;
    const char *name;
    Result (*handler)(Context &, Bytes);
};

constexpr PlainOperation kPlain[] = {
    {tag::kBindRequest, tag::kBindResponse, "bind", bind},
    {tag::kModifyRequest, tag::kModifyResponse, "modify", modify},
    {tag::kAddRequest, tag::kAddResponse, "add", add},
    {tag::kDeleteRequest, tag::kDeleteResponse, "delete", remove},
    {tag::kModifyDnRequest, tag::kModifyDnResponse, "modify-dn", modifyDn},
    {tag::kCompareRequest, tag::kCompareResponse, "compare", compare},
};

/** Says what the server is about, as long as it lives. */
class OriginScope {
  public:
    OriginScope(Directory &directory, const Origin &origin) : directory_(directory) {
        directory_.origin = &origin;
    }
    ~OriginScope() { directory_.origin = nullptr; }
    OriginScope(const OriginScope &) = delete;
    OriginScope &operator=(const OriginScope &) = delete;

  private:
    Directory &directory_;
};

/** Calls `operation` with the context in which the controls of the request want it served. */
template <typename Operation>
auto inContext(Directory &directory, Connection &connection, const Request &request,
               const Operation &operation) {
    const auto proxied = proxiedIdentity(directory, connection.identity, request);
    requireControls(request);
    Context context{directory, connection, proxied ? *proxied : connection.identity};
    const Origin origin{connection, request.id, context.identity};
    const OriginScope scope(directory, origin);
    return operation(context);
}

Result run(const PlainOperation &operation, Directory &directory, Connection &connection,
           const Request &request) {
    try {
        return inContext(directory, connection, request, [&](Context &context) {
            return operation.handler(context, request.body);
        });
    } catch (const OperationError &error) {
        return error.result();
    }
}

void raiseExtendedEvent(const Served &served, const ExtendedRequest &request,
                        const ExtendedReply &reply) {
    const auto bytes = [](const auto &value) {
        return value ? static_cast<std::int32_t>(value->size()) : -1;
    };
    const ExtendedOperation *operation = request.operation;
    raiseExtended(served, {request.oid, operation != nullptr ? operation->name : "",
                           reply.oid ? std::string_view(*reply.oid) : std::string_view(),
                           operation != nullptr && operation->trigger, bytes(request.value),
                           bytes(reply.value)});
}

std::string describe(std::string_view name, const Result &result) {
    return fmt::format("{} result {}{}{}", name, static_cast<int>(result.code),
                       result.diagnostic.empty() ? "" : ": ", result.diagnostic);
}

} // namespace

Outcome Dispatcher::disconnect(const std::string &why) {
    Outcome outcome;
    appendNoticeOfDisconnection(outcome.bytes, why);
    outcome.close = true;
    outcome.note = "disconnected: " + why;
    return outcome;
}

Outcome Dispatcher::handle(Connection &connection, Bytes message) {
    try {
        ++directory_.monitor.operations;
        return serve(connection, decodeRequest(message));
    } catch (const ber::Error &error) {
        return disconnect(error.what());
    }
}

Outcome Dispatcher::serve(Connection &connection, const Request &request) {
    Outcome outcome;
    outcome.id = request.id;
    switch (request.tag) {
    case tag::kUnbindRequest:
        outcome.close = true;
        outcome.note = "unbind";
        return outcome;
    case tag::kAbandonRequest:
        outcome.abandon =
            static_cast<std::int32_t>(ber::decodeInteger(request.body, "id to abandon"));
        outcome.note = fmt::format("abandon {}", *outcome.abandon);
        raiseOperation({directory_, connection, request, {}});
        return outcome;
    case tag::kSearchRequest:
        serveSearch(connection, request, outcome);
        return outcome;
    case tag::kExtendedRequest:
        serveExtended(connection, request, outcome);
        return outcome;
    default:
        break;
    }
    const auto plain =
        std::find_if(std::begin(kPlain), std::end(kPlain),
                     [&](const PlainOperation &row) { return row.request == request.tag; });
    if (plain == std::end(kPlain)) {
        const Result result{ResultCode::ProtocolError,
                            {},
                            fmt::format("protocolOp: {:#04x} is no request", request.tag)};
        raiseUnknown({directory_, connection, request, result});
        throw ber::Error(result.diagnostic);
    }
    if (request.tag == tag::kBindRequest) {
        // Whatever comes of it, the old identity ends with the request.
        outcome.abandonAll = true;
        connection.forgetIdentity();
    }
    const Result result = run(*plain, directory_, connection, request);
    appendResult(outcome.bytes, request.id, plain->response, result);
    outcome.note = describe(plain->name, result);
    raiseOperation({directory_, connection, request, result});
    raiseResponse(directory_, connection,
                  {request.id, plain->response, result, outcome.bytes.size()});
    return outcome;
}

void Dispatcher::serveSearch(Connection &connection, const Request &request, Outcome &outcome) {
    outcome.note = "search";
    try {
        outcome.open = inContext(directory_, connection, request, [&](Context &context) {
            return stratasim::search(context, request);
        });
        raiseOperation({directory_, connection, request, {}});
    } catch (const OperationError &error) {
        appendResult(outcome.bytes, request.id, tag::kSearchDone, error.result());
        outcome.note = describe("search", error.result());
        raiseOperation({directory_, connection, request, error.result()});
        raiseResponse(directory_, connection,
                      {request.id, tag::kSearchDone, error.result(), outcome.bytes.size()});
    }
}

void Dispatcher::serveExtended(Connection &connection, const Request &request, Outcome &outcome) {
    const ExtendedRequest decoded = decodeExtended(request);
    const Fault *fault = decoded.operation ? faults_.find(decoded.operation->oid) : nullptr;
    ExtendedReply reply;
    try {
        reply = inContext(directory_, connection, request, [&](Context &context) {
            return stratasim::serveExtended(context, decoded, fault, outcome.open);
        });
    } catch (const OperationError &error) {
        reply.result = error.result();
        if (decoded.operation != nullptr)
            reply.oid = decoded.operation->responseOid;
    }
    outcome.note = describe(decoded.operation ? decoded.operation->name : "extended", reply.result);
    raiseExtendedEvent({directory_, connection, request, reply.result}, decoded, reply);
    if (fault != nullptr) {
        fault->distort(reply);
        outcome.delay = fault->delay;
        outcome.drop = fault->drop;
    }
    appendExtended(outcome.bytes, request.id, reply);
    if (!outcome.drop)
        raiseResponse(directory_, connection,
                      {request.id, tag::kExtendedResponse, reply.result, outcome.bytes.size()});
}

} // namespace stratasim
