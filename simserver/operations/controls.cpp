#include "operations/controls.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace stratasim {
namespace {

struct ServedControl {
    std::string_view oid;
    std::initializer_list<std::uint8_t> operations;
};

const ServedControl kServed[] = {
    // There are no referral objects here: ManageDsaIT (RFC 3296) asks for what happens anyway.
    {control::kManageDsaIt,
     {tag::kSearchRequest, tag::kModifyRequest, tag::kAddRequest, tag::kDeleteRequest,
      tag::kModifyDnRequest, tag::kCompareRequest}},
    {control::kPersistentSearch, {tag::kSearchRequest}},
    {control::kProxiedAuthorization,
     {tag::kSearchRequest, tag::kModifyRequest, tag::kAddRequest, tag::kDeleteRequest,
      tag::kModifyDnRequest, tag::kCompareRequest, tag::kExtendedRequest}},
    {control::kEffectiveRights, {tag::kSearchRequest}},
    {control::kServerStatus, {tag::kSearchRequest}},
    {control::kReference, {tag::kSearchRequest}},
};

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
