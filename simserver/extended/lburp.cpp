#include "extended/lburp_request.h"
#include "extended/registry.h"
#include "operations/plain.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace stratasim {
namespace {

constexpr std::string_view kIncrementalUpdate = "2.16.840.1.907341.1.142.1.4.2";

// SEQUENCE { updateStyle OCTET STRING }; response: SEQUENCE { transactionSize INTEGER }
ResponseValue start(const ExtendedCall &call) {
    ber::Reader fields = openValue(asBytes(call.arguments.text(0)));
    const std::string_view style = fields.text("request value, update style");
    fields.expectEnd("request value");
    if (style != kIncrementalUpdate)
        throw OperationError(ResultCode::UnwillingToPerform,
                             fmt::format("the update style \"{}\" is not served here: use {}",
                                         style, kIncrementalUpdate));
    call.connection.lburp.start();
    std::string value;
    ber::Writer writer(value);
    const std::size_t sequence = writer.open(ber::kSequence);
    writer.integer(static_cast<std::int64_t>(call.directory.lburp.transactionSize));
    writer.close(sequence);
    return value;
}

LburpRequest readOperations(const ExtendedCall &call) {
    return readLburpRequest(asBytes(call.arguments.text(0)), call.request.id,
                            call.directory.lburp.transactionSize);
}

std::unique_ptr<OpenOperation> awaitOperations(const ExtendedCall &call) {
    const LburpRequest request = readOperations(call);
    auto waiting = call.connection.lburp.awaitOperation(request.number, call.request.message);
    if (request.count > request.operations.size())
        throw OperationError(ResultCode::AdminLimitExceeded,
                             fmt::format("{} operations in one request: at most {} may be",
                                         request.count, request.operations.size()));
    return waiting;
}

// SEQUENCE { operationNumber INTEGER, SEQUENCE { resultCode INTEGER, matchedDN OCTET STRING,
//     errorMessage OCTET STRING } }
void writeFailure(std::string &out, std::size_t number, const Result &result) {
    ber::Writer writer(out);
    const std::size_t failure = writer.open(ber::kSequence);
    writer.integer(static_cast<std::int64_t>(number));
    const std::size_t detail = writer.open(ber::kSequence);
    writer.integer(static_cast<int>(result.code));
    writer.octets(result.matchedDn);
    writer.octets(result.diagnostic);
    writer.close(detail);
    writer.close(failure);
}

/** How many operations of the request are done: all, unless a fault ends it on its way. */
std::size_t countOf(const ExtendedCall &call, const LburpRequest &request) {
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    const auto partway = call.fault != nullptr ? call.fault->partway : std::nullopt;
    return std::min(request.operations.size(), partway.value_or(all));
}

// Response: the failures one after the other, with nothing around them; none when there is none.
ResponseValue carryOut(const ExtendedCall &call) {
    const LburpRequest request = readOperations(call);
    std::string failures;
    std::size_t failed = 0;
    for (std::size_t i = 0; i < countOf(call, request); ++i) {
        const Request &operation = request.operations[i];
        const Result result = servePlain(*findPlain(operation.tag), call.directory, call.connection,
                                         call.identity, operation);
        if (result.code == ResultCode::Success)
            continue;
        ++failed;
        writeFailure(failures, i + 1, result);
    }
    call.connection.lburp.advance();
    if (failed == 0)
        return {};
    call.after.result = {
        ResultCode::Other, {}, fmt::format("{} of {} operations failed", failed, request.count)};
    return failures;
}

// SEQUENCE { sequenceNumber INTEGER }
std::unique_ptr<OpenOperation> awaitEnd(const ExtendedCall &call) {
    ber::Reader fields = openValue(asBytes(call.arguments.text(0)));
    const std::int32_t last = fields.integer32(ber::kInteger, "request value, sequence number");
    fields.expectEnd("request value");
    return call.connection.lburp.awaitEnd(last, call.request.message);
}

ResponseValue end(const ExtendedCall &call) {
    call.connection.lburp.drop();
    return {};
}

ExtendedOperation lburpOperation(int number, int response, std::string_view name,
                                 ResponseValue (*handler)(const ExtendedCall &)) {
    constexpr std::string_view arc = "2.16.840.1.907341.1.142.100";
    constexpr auto open = ExtendedOperation::Access::Open;
    constexpr std::string_view ownReading = "v";
    ExtendedOperation operation{fmt::format("{}.{}", arc, number),
                                fmt::format("{}.{}", arc, response),
                                name,
                                open,
                                ownReading,
                                handler};
    operation.lburp = true;
    return operation;
}

} // namespace

std::vector<ExtendedOperation> lburpOperations() {
    std::vector<ExtendedOperation> operations = {
        lburpOperation(1, 2, "lburp-start", start),
        lburpOperation(6, 7, "lburp-operation", carryOut),
        lburpOperation(4, 5, "lburp-end", end),
    };
    operations[1].await = awaitOperations;
    operations[2].await = awaitEnd;
    return operations;
}

} // namespace stratasim
