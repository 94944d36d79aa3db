#include "message.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

// A control takes ten times the room of the bytes that it may consist of.
constexpr std::size_t kMaxControls = 1000;

std::vector<Control> decodeControls(Bytes value) {
    std::vector<Control> controls;
    ber::Reader list(value);
    while (!list.atEnd()) {
        if (controls.size() == kMaxControls)
            throw ber::Error(fmt::format("controls: more than {}", kMaxControls));
        ber::Reader fields = list.sequence("control");
        Control control;
        control.oid = fields.text("control OID");
        if (fields.peekTag() == ber::kBoolean)
            control.critical = fields.boolean(ber::kBoolean, "control criticality");
        control.value = fields.takeIf(ber::kOctetString, "control value");
        controls.push_back(control);
    }
    return controls;
}

void writeResult(ber::Writer &writer, const Result &result) {
    writer.integer(static_cast<int>(result.code), ber::kEnumerated);
    writer.octets(result.matchedDn);
    writer.octets(result.diagnostic);
}

} // namespace

Request decodeRequest(Bytes message) {
    ber::Reader outer(message);
    ber::Reader fields = outer.sequence("LDAPMessage");
    outer.expectEnd("LDAPMessage");
    const std::int32_t id = fields.integer32(ber::kInteger, "message id");
    if (id <= 0)
        throw ber::Error("message id: not positive");
    Request request = decodeOperation(fields);
    request.message = message;
    request.id = id;
    return request;
}

Request decodeOperation(ber::Reader &fields) {
    Request request;
    const ber::Element op = fields.next("protocolOp");
    request.tag = op.tag;
    request.body = op.value;
    if (const auto controls = fields.takeIf(tag::kControls, "controls"))
        request.controls = decodeControls(*controls);
    return request;
}

void appendResult(std::string &out, std::int32_t id, std::uint8_t responseTag, const Result &result,
                  std::string_view controls) {
    ber::Writer writer(out);
    const std::size_t message = writer.open(ber::kSequence);
    writer.integer(id);
    const std::size_t op = writer.open(responseTag);
    writeResult(writer, result);
    writer.close(op);
    if (!controls.empty())
        writer.octets(controls, tag::kControls);
    writer.close(message);
}

void appendControl(std::string &controls, std::string_view oid, std::string_view value) {
    ber::Writer writer(controls);
    const std::size_t control = writer.open(ber::kSequence);
    writer.octets(oid);
    writer.octets(value);
    writer.close(control);
}

// BindResponse ::= [APPLICATION 1] SEQUENCE { COMPONENTS OF LDAPResult,
//     serverSaslCreds [7] OCTET STRING OPTIONAL }
void appendBind(std::string &out, std::int32_t id, const BindReply &reply) {
    constexpr std::uint8_t serverSaslCreds = 0x87;
    ber::Writer writer(out);
    const std::size_t message = writer.open(ber::kSequence);
    writer.integer(id);
    const std::size_t op = writer.open(tag::kBindResponse);
    writeResult(writer, reply.result);
    if (reply.credentials)
        writer.octets(*reply.credentials, serverSaslCreds);
    writer.close(op);
    writer.close(message);
}

void appendExtended(std::string &out, std::int32_t id, const ExtendedReply &reply) {
    constexpr std::uint8_t responseName = 0x8a;
    constexpr std::uint8_t responseValue = 0x8b;
    ber::Writer writer(out);
    const std::size_t message = writer.open(ber::kSequence);
    writer.integer(id);
    const std::size_t op = writer.open(tag::kExtendedResponse);
    writeResult(writer, reply.result);
    if (reply.oid)
        writer.octets(*reply.oid, responseName);
    if (reply.value)
        writer.octets(*reply.value, responseValue);
    writer.close(op);
    writer.close(message);
}

// IntermediateResponse ::= [APPLICATION 25] SEQUENCE { responseName [0] LDAPOID OPTIONAL,
//     responseValue [1] OCTET STRING OPTIONAL }
void appendIntermediate(std::string &out, std::string_view name, std::string_view value) {
    constexpr std::uint8_t responseName = 0x80;
    constexpr std::uint8_t responseValue = 0x81;
    ber::Writer writer(out);
    const std::size_t op = writer.open(tag::kIntermediate);
    writer.octets(name, responseName);
    writer.octets(value, responseValue);
    writer.close(op);
}

void appendNoticeOfDisconnection(std::string &out, const std::string &diagnostic) {
    constexpr std::int32_t unsolicited = 0;
    appendExtended(out, unsolicited,
                   {{ResultCode::ProtocolError, {}, diagnostic}, "1.3.6.1.4.1.1466.20036", {}});
}

} // namespace stratasim
