#include "hostile/server.h"

#include "extops/operations.h"
#include "fuzz/schema_samples.h"
#include "sasl/proof.h"
#include "support/event_samples.h"

namespace hostile {

namespace {

using namespace qldapx_test;

#define DIRECTORY_OID "2.16.840.1.907341.1.27.100."
#define BULK_OID "2.16.840.1.907341.1.142.100."
constexpr char monitorOid[] = DIRECTORY_OID "79", filteredOid[] = DIRECTORY_OID "84";
constexpr char backupOid[] = DIRECTORY_OID "96", bulkOperationOid[] = BULK_OID "6";

Bytes success(const char *oid, const std::optional<Bytes> &value = std::nullopt) {
    return extendedResponse(0, oid, value);
}

Bytes event(int type) {
    return sequence({integer(type), tlv(0x0a, Bytes(1, '\0'))});
}

Bytes accepted() {
    return success(DIRECTORY_OID "80", sequence({integer(2), set({event(7), event(8)})}));
}

Bytes failure(int number, const char *message) {
    return sequence(
        {integer(number), sequence({integer(68), octetString("cn=x"), octetString(message)})});
}

// The second piece is the last one.
Bytes piece(bool isLast) {
    const Bytes next = isLast ? integer(0) + integer(0) : integer(5) + integer(7);
    const Bytes sizes =
        sequence({integer(2), set({sequence({integer(3)}), sequence({integer(2)})})});
    return success(DIRECTORY_OID "97", integer(5) + next + octetString("image") + sizes);
}

Bytes control(const char *oid, const Bytes &value) {
    return sequence({octetString(oid), octetString(value)});
}

Bytes controls() {
    const Bytes names = sequence({octetString("a"), octetString("b")});
    return tlv(
        0xa0,
        join({control("2.16.840.1.113730.3.4.7",
                      sequence({tlv(0x0a, "\x08"), octetString("cn=old"), tlv(0x80, "\x05")})),
              control("2.16.840.1.907341.1.27.101.40",
                      sequence({tlv(0x80, "\x01"), tlv(0x81, "\x02"), tlv(0x82, "\x03"),
                                tlv(0x83, "\x04")})),
              control("2.16.840.1.907341.1.1.5150.101.1",
                      set({tlv(0x81, "one"), tlv(0x82, "\x02"), tlv(0x83, "three"),
                           tlv(0x84, "\x04"), tlv(0x85, names), tlv(0x86, "six")}))}));
}

Bytes entry(const char *dn, const char *type, const char *value) {
    return tlv(0x64, octetString(dn) +
                         sequence({sequence({octetString(type), set({octetString(value)})})}));
}

Bytes reference() {
    return tlv(0x73, octetString("ldap://other.example/o=y??sub"));
}

constexpr const char *challenges[] = {
    R"(realm="a.example",nonce="OA6MG9tEQGm2hh",qop="auth",charset=utf-8,algorithm=md5-sess)",
    R"(nonce=abc,realm=r,algorithm=md5-sess,qop="auth,auth-int",maxbuf=65536)",
    R"(realm="a",realm="b",nonce="n",qop="auth,auth-conf",cipher="3des,rc4",algorithm=md5-sess)"};

// BindRequest: version, name, [3] { mechanism, credentials OPTIONAL }
Bytes bindAnswer(const Request &request, Random &random) {
    const std::vector<Node> &parts = request.operation.elements;
    if (parts.size() < 3 || parts[2].elements.size() < 2)
        return bindResponse(14, random.pick(challenges));
    return provenAnswer(proofFor(parts[2].elements[1].content, Server::user, Server::password));
}

} // namespace

std::optional<Request> parseRequest(std::string_view bytes) {
    auto parsed = parseElements(bytes);
    if (!parsed || parsed->size() != 1 || parsed->front().elements.size() < 2)
        return std::nullopt;
    Request request;
    for (char byte : parsed->front().elements[0].content)
        request.id = request.id << 8 | static_cast<unsigned char>(byte);
    request.operation = std::move(parsed->front().elements[1]);
    return request;
}

Server::Server() {
    for (const OperationCase &operation : allOperations())
        extended_[operation.requestOid] = operation.response();
    extended_[monitorOid] = extended_[filteredOid] = accepted();
    extended_[backupOid] = piece(false);
    extended_[DIRECTORY_OID "98"] = success(DIRECTORY_OID "99");
    extended_[BULK_OID "1"] = success(BULK_OID "2", sequence({integer(100)}));
    extended_[bulkOperationOid] = success(BULK_OID "7", failure(1, "one") + failure(3, "three"));
    extended_[BULK_OID "4"] = success(BULK_OID "5");
    for (const EventSample &sample : eventSamples())
        notifications_.push_back(
            eventMessage(notification(7, 0, sample.payload() + eventAddress())));
    for (const auto &[oid, answer] : extended_)
        any_.push_back(answer);
    for (const Bytes &answer : {notifications_[0], piece(true), reference(), searchDone(0),
                                searchEntry("cn=x"), qldapx_fuzz::modifyResponse(),
                                bindResponse(14, challenges[0]), bindResponse(0, std::nullopt)})
        any_.push_back(answer);
}

std::vector<Bytes> Server::extended(const Request &request, Random &random) const {
    const std::vector<Node> &parts = request.operation.elements;
    const std::string oid = parts.empty() ? "" : parts[0].content;
    const auto found = extended_.find(oid);
    if (found == extended_.end())
        return {extendedResponse(2, std::nullopt, std::nullopt)};
    if (oid == backupOid && encode(parts[1]).find(integer(5) + integer(7)) != Bytes::npos)
        return {piece(true)};
    std::vector<Bytes> answers = {found->second};
    if (oid == monitorOid || oid == filteredOid)
        for (std::size_t left = 1 + random.below(3); left > 0; --left)
            answers.push_back(random.pick(notifications_));
    return answers;
}

std::vector<Bytes> Server::search(const Request &request) const {
    const std::vector<Node> &parts = request.operation.elements;
    const Bytes base = parts.empty() ? "" : parts[0].content;
    if (base.empty())
        return {entry("", "subschemaSubentry", "cn=schema"), searchDone(0)};
    if (base == "cn=schema")
        return {qldapx_fuzz::sampleSchema(), searchDone(0)};
    return {entry("cn=a,o=x", "cn", "a") + controls(), reference(), entry("cn=b,o=x", "cn", "b"),
            searchDone(0) + controls()};
}

std::vector<Bytes> Server::answersTo(const Request &request, Random &random) const {
    switch (request.operation.tag) {
    case 0x60:
        return {bindAnswer(request, random)};
    case 0x63:
        return search(request);
    case 0x66:
        return {qldapx_fuzz::modifyResponse()};
    case 0x77:
        return extended(request, random);
    default:
        return {}; // unbind and abandon have no answer
    }
}

#undef BULK_OID
#undef DIRECTORY_OID

} // namespace hostile
