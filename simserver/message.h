#pragma once

#include "ber.h"
#include "result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** The protocolOp tags of RFC 4511, requests and responses. */
namespace tag {
inline constexpr std::uint8_t kBindRequest = 0x60;
inline constexpr std::uint8_t kBindResponse = 0x61;
inline constexpr std::uint8_t kUnbindRequest = 0x42;
inline constexpr std::uint8_t kSearchRequest = 0x63;
inline constexpr std::uint8_t kSearchEntry = 0x64;
inline constexpr std::uint8_t kSearchDone = 0x65;
inline constexpr std::uint8_t kModifyRequest = 0x66;
inline constexpr std::uint8_t kModifyResponse = 0x67;
inline constexpr std::uint8_t kAddRequest = 0x68;
inline constexpr std::uint8_t kAddResponse = 0x69;
inline constexpr std::uint8_t kDeleteRequest = 0x4a;
inline constexpr std::uint8_t kDeleteResponse = 0x6b;
inline constexpr std::uint8_t kModifyDnRequest = 0x6c;
inline constexpr std::uint8_t kModifyDnResponse = 0x6d;
inline constexpr std::uint8_t kCompareRequest = 0x6e;
inline constexpr std::uint8_t kCompareResponse = 0x6f;
inline constexpr std::uint8_t kAbandonRequest = 0x50;
inline constexpr std::uint8_t kExtendedRequest = 0x77;
inline constexpr std::uint8_t kExtendedResponse = 0x78;
inline constexpr std::uint8_t kIntermediate = 0x79;
inline constexpr std::uint8_t kControls = 0xa0;
} // namespace tag

struct Control {
    std::string_view oid;
    bool critical = false;
    std::optional<Bytes> value;
};

/** A received LDAPMessage; everything in it points into the received bytes. */
struct Request {
    Bytes message; // all of it
    std::int32_t id = 0;
    std::uint8_t tag = 0;
    Bytes body;
    std::vector<Control> controls;
};

/** Decodes one whole LDAPMessage; throws ber::Error when it is none. */
Request decodeRequest(Bytes message);

/** Reads protocolOp and controls, which a message has behind its id. */
Request decodeOperation(ber::Reader &fields);

/** LDAPMessage { id, [responseTag] LDAPResult, controls unless empty } */
void appendResult(std::string &out, std::int32_t id, std::uint8_t responseTag, const Result &result,
                  std::string_view controls = {});

/** Appends a Control that is not critical; several of them are the `controls` of a response. */
void appendControl(std::string &controls, std::string_view oid, std::string_view value);

struct BindReply {
    Result result;
    std::optional<std::string> credentials; // serverSaslCreds
};

void appendBind(std::string &out, std::int32_t id, const BindReply &reply);

struct ExtendedReply {
    Result result;
    std::optional<std::string> oid;
    std::optional<std::string> value;
};

void appendExtended(std::string &out, std::int32_t id, const ExtendedReply &reply);

/** The protocolOp of an IntermediateResponse; its message has to be put around it. */
void appendIntermediate(std::string &out, std::string_view name, std::string_view value);

/** The unsolicited notice that the server ends the connection, and why (RFC 4511, 4.4.1). */
void appendNoticeOfDisconnection(std::string &out, const std::string &diagnostic);

} // namespace stratasim
