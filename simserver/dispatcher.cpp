#include "dispatcher.h"

#include "events/operation_events.h"
#include "operations/bind.h"
#include "operations/plain.h"

#include <fmt/format.h>

#include <limits>

namespace stratasim {
namespace {

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

// AbandonRequest ::= [APPLICATION 16] MessageID
std::int32_t idToAbandon(Bytes content) {
    const std::int64_t id = ber::decodeInteger(content, "id to abandon");
    if (id < 0 || id > std::numeric_limits<std::int32_t>::max())
        throw ber::Error("id to abandon: outside 31 bits");
    return static_cast<std::int32_t>(id);
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
    ++directory_.monitor.operations;
    return resume(connection, message);
}

Outcome Dispatcher::resume(Connection &connection, Bytes message) {
    const schema::InForce inForce(directory_.schema);
    try {
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
        outcome.abandon = idToAbandon(request.body);
        outcome.note = fmt::format("abandon {}", *outcome.abandon);
        raiseOperation({directory_, connection, request, {}});
        return outcome;
    case tag::kSearchRequest:
        serveSearch(connection, request, outcome);
        return outcome;
    case tag::kBindRequest:
        serveBind(connection, request, outcome);
        return outcome;
    case tag::kExtendedRequest:
        serveExtended(connection, request, outcome);
        return outcome;
    default:
        break;
    }
    const PlainOperation *plain = findPlain(request.tag);
    if (plain == nullptr) {
        const Result result{ResultCode::ProtocolError,
                            {},
                            fmt::format("protocolOp: {:#04x} is no request", request.tag)};
        raiseUnknown({directory_, connection, request, result});
        throw ber::Error(result.diagnostic);
    }
    const Result result = servePlain(*plain, directory_, connection, connection.identity, request);
    appendResult(outcome.bytes, request.id, plain->response, result);
    outcome.note = describe(plain->name, result);
    raiseResponse(directory_, connection,
                  {request.id, plain->response, result, outcome.bytes.size()});
    return outcome;
}

void Dispatcher::serveSearch(Connection &connection, const Request &request, Outcome &outcome) {
    outcome.note = "search";
    try {
        outcome.open =
            inContext(directory_, connection, connection.identity, request,
                      [&](Context &context) { return stratasim::search(context, request); });
        raiseOperation({directory_, connection, request, {}});
    } catch (const OperationError &error) {
        appendResult(outcome.bytes, request.id, tag::kSearchDone, error.result());
        outcome.note = describe("search", error.result());
        raiseOperation({directory_, connection, request, error.result()});
        raiseResponse(directory_, connection,
                      {request.id, tag::kSearchDone, error.result(), outcome.bytes.size()});
    }
}

ExtendedReply Dispatcher::replyTo(Connection &connection, const ExtendedRequest &request,
                                  const Fault *fault, ExtendedAftermath &after) {
    const auto answer = [&](Context &context) {
        return stratasim::serveExtended(context, request, fault, after);
    };
    try {
        return inContext(directory_, connection, connection.identity, request.received, answer);
    } catch (const OperationError &error) {
        return {error.result(),
                request.operation != nullptr ? request.operation->responseOid : std::nullopt,
                {}};
    }
}

std::optional<Fault> Dispatcher::faultOf(std::string_view answered) const {
    const auto times = answered_.find(answered);
    return faults_.find(answered, times == answered_.end() ? 1 : times->second + 1);
}

Fault Dispatcher::nextHandshake() {
    const auto fault = faultOf(kHandshake);
    count(kHandshake);
    return fault.value_or(Fault());
}

void Dispatcher::serveBind(Connection &connection, const Request &request, Outcome &outcome) {
    outcome.abandonAll = true;
    const BindRequest decoded = beginBind(connection, request);
    const std::string_view step = stepOf(decoded);
    const auto fault = faultOf(step);
    const BindReply reply =
        stratasim::serveBind(directory_, connection, request, decoded, fault ? &*fault : nullptr);
    count(step);
    outcome.note = describe("bind", reply.result);
    if (fault) {
        outcome.delay = fault->delay;
        outcome.drop = fault->drop;
        outcome.cut = fault->cut;
    }
    appendBind(outcome.bytes, request.id, reply);
    if (!outcome.drop)
        raiseResponse(directory_, connection,
                      {request.id, tag::kBindResponse, reply.result, outcome.bytes.size()});
}

void Dispatcher::serveExtended(Connection &connection, const Request &request, Outcome &outcome) {
    const ExtendedRequest decoded = decodeExtended(directory_, request);
    const std::string_view name = decoded.operation ? decoded.operation->name : "extended";
    const std::string_view oid =
        decoded.operation ? std::string_view(decoded.operation->oid) : std::string_view();
    const auto fault = faultOf(oid);
    ExtendedAftermath after;
    ExtendedReply reply = replyTo(connection, decoded, fault ? &*fault : nullptr, after);
    if (after.waiting) {
        outcome.open = std::move(after.waiting);
        outcome.note = fmt::format("{} waits for its turn", name);
        return;
    }
    count(oid);
    outcome.open = std::move(after.open);
    outcome.note = describe(name, reply.result);
    raiseExtendedEvent({directory_, connection, request, reply.result}, decoded, reply);
    if (fault) {
        fault->distort(reply);
        outcome.delay = fault->delay;
        outcome.drop = fault->drop;
        outcome.cut = fault->cut;
    }
    appendExtended(outcome.bytes, request.id, reply);
    if (!outcome.drop)
        raiseResponse(directory_, connection,
                      {request.id, tag::kExtendedResponse, reply.result, outcome.bytes.size()});
}

} // namespace stratasim
