#include "extended/lburp_request.h"

#include "operations/write.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

// As in RFC 4511, 4.9, but with another tag: { entry LDAPDN, newrdn RelativeLDAPDN,
//     deleteoldrdn BOOLEAN, newSuperior OCTET STRING OPTIONAL }
std::string ordinaryModifyDn(ber::Reader &fields) {
    constexpr std::uint8_t newSuperior = 0x80;
    std::string body;
    ber::Writer writer(body);
    writer.octets(fields.text("entry to rename"));
    writer.octets(fields.text("new RDN"));
    const bool deleteOld = fields.boolean(ber::kBoolean, "deleteoldrdn");
    writer.octets(deleteOld ? "\xff" : std::string_view("\0", 1), ber::kBoolean);
    if (const auto superior = fields.takeIf(ber::kOctetString, "new superior"))
        writer.octets(asText(*superior), newSuperior);
    return body;
}

/** Throws unless it is the body of an update; one that has to be rewritten is in `request`. */
void checkUpdate(Request &operation, LburpRequest &request) {
    ber::Reader fields(operation.body);
    switch (operation.tag) {
    case tag::kAddRequest:
        readAdd(fields);
        break;
    case tag::kModifyRequest:
        readModify(fields);
        break;
    case tag::kDeleteRequest:
        return; // the body is the DN
    case tag::kModifyDnRequest:
        operation.body = asBytes(request.rewritten.emplace_back(ordinaryModifyDn(fields)));
        break;
    default:
        throw ber::Error(fmt::format("tag {:#04x} is no update", operation.tag));
    }
    fields.expectEnd("update");
}

// operation ::= SEQUENCE { protocolOp, controls [0] Controls OPTIONAL }
Request readOperation(ber::Reader fields, LburpRequest &request) {
    Request operation = decodeOperation(fields);
    fields.expectEnd("operation");
    checkUpdate(operation, request);
    return operation;
}

} // namespace

ber::Reader openValue(Bytes value) {
    ber::Reader whole(value);
    const ber::Reader fields = whole.sequence("request value");
    whole.expectEnd("request value");
    return fields;
}

// SEQUENCE { sequenceNumber INTEGER, operation, operation, ... }
LburpRequest readLburpRequest(Bytes value, std::int32_t id, std::size_t most) {
    ber::Reader fields = openValue(value);
    LburpRequest request;
    request.number = fields.integer32(ber::kInteger, "request value, sequence number");
    while (!fields.atEnd()) {
        ++request.count;
        try {
            Request operation = readOperation(fields.sequence("operation"), request);
            operation.id = id;
            if (request.operations.size() < most)
                request.operations.push_back(std::move(operation));
        } catch (const ber::Error &error) {
            throw ber::Error(
                fmt::format("request value, operation {}: {}", request.count, error.what()));
        }
    }
    return request;
}

} // namespace stratasim
