#include "operations/operations.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace stratasim {
namespace {

struct ServedControl {
    std::string_view oid;
    std::initializer_list<std::uint8_t> operations;
};

// There are no referral objects here: ManageDsaIT (RFC 3296) asks for what happens anyway.
const ServedControl kServed[] = {
    {"2.16.840.1.113730.3.4.2",
     {tag::kSearchRequest, tag::kModifyRequest, tag::kAddRequest, tag::kDeleteRequest,
      tag::kModifyDnRequest, tag::kCompareRequest}}};

bool isServed(std::string_view oid, std::uint8_t operation) {
    return std::any_of(std::begin(kServed), std::end(kServed), [&](const ServedControl &served) {
        return served.oid == oid && std::find(served.operations.begin(), served.operations.end(),
                                              operation) != served.operations.end();
    });
}

} // namespace

std::vector<std::string> supportedControls() {
    std::vector<std::string> oids;
    for (const ServedControl &served : kServed)
        oids.emplace_back(served.oid);
    return oids;
}

void requireControls(const Request &request) {
    for (const Control &control : request.controls)
        if (control.critical && !isServed(control.oid, request.tag))
            throw OperationError(ResultCode::UnavailableCriticalExtension,
                                 fmt::format("the control {} is not served here", control.oid));
}

} // namespace stratasim
