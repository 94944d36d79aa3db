#include "operations/bind.h"

#include "events/operation_events.h"
#include "operations/account.h"
#include "operations/plain.h"
#include "sasl/digest_md5.h"
#include "sasl/external.h"

#include <algorithm>

namespace stratasim {
namespace {

constexpr std::uint8_t kSimple = 0x80;
constexpr std::uint8_t kSasl = 0xa3;
constexpr std::int64_t kVersion = 3;

BindReply bindSimply(Context &context, const BindRequest &bind) {
    const Dn dn = requireDn(bind.name);
    if (dn.isRoot() && bind.password.empty())
        return {};
    if (bind.password.empty())
        throw OperationError(ResultCode::UnwillingToPerform,
                             "a DN without a password proves nothing: give a password, or no DN");
    const auto [identity, passwords] = accountOf(context.directory, dn);
    if (std::find(passwords.begin(), passwords.end(), bind.password) == passwords.end())
        throw OperationError(ResultCode::InvalidCredentials, "wrong DN or password");
    context.connection.identity = identity;
    return {};
}

digest::Answer takeStep(Context &context, const BindRequest &bind) {
    if (!bind.credentials)
        return digest::challenge(context.directory.saslRealms);
    if (!bind.offer)
        throw OperationError(ResultCode::InvalidCredentials,
                             "DIGEST-MD5: there is no challenge that this responds to: begin "
                             "without credentials");
    auto [identity, answer] =
        digest::prove(context.directory, *bind.offer, asText(*bind.credentials));
    context.connection.identity = std::move(identity);
    return answer;
}

BindReply bindWithDigest(Context &context, const BindRequest &bind, const Fault *fault) {
    requireNoCode(fault);
    digest::Answer answer = takeStep(context, bind);
    if (fault != nullptr)
        fault->distort(answer);
    return {{answer.code, {}, {}}, answer.write()};
}

BindReply bindExternally(Context &context, const BindRequest &bind) {
    Identity identity = external::identify(context.directory, *context.connection.security);
    // Without an initial response the server has to ask for it, with nothing (RFC 4513, 5.2.3.2).
    if (!bind.credentials)
        return {{ResultCode::SaslBindInProgress, {}, {}}, ""};
    external::requireOwn(context.directory, identity, asText(*bind.credentials));
    context.connection.identity = std::move(identity);
    return {};
}

BindReply run(Context &context, const BindRequest &bind, const Fault *fault) {
    if (bind.version != kVersion)
        throw OperationError(ResultCode::ProtocolError, "this server speaks LDAP version 3 only");
    if (bind.method == kSimple)
        return bindSimply(context, bind);
    if (bind.mechanism == digest::kMechanism)
        return bindWithDigest(context, bind, fault);
    const bool secure = context.connection.security.has_value();
    if (secure && bind.mechanism == external::kMechanism)
        return bindExternally(context, bind);
    throw OperationError(ResultCode::AuthMethodNotSupported,
                         secure ? "use a simple bind, or SASL with DIGEST-MD5 or EXTERNAL"
                                : "use a simple bind, or SASL with DIGEST-MD5");
}

} // namespace

// BindRequest ::= [APPLICATION 0] SEQUENCE { version INTEGER, name LDAPDN,
//     authentication CHOICE { simple [0] OCTET STRING, sasl [3] SEQUENCE {
//         mechanism LDAPString, credentials OCTET STRING OPTIONAL } } }
BindRequest beginBind(Connection &connection, const Request &request) {
    connection.forgetIdentity();
    BindRequest bind;
    bind.offer = std::exchange(connection.offer, std::nullopt);
    ber::Reader fields(request.body);
    bind.version = fields.integer(ber::kInteger, "bind version");
    bind.name = fields.text("bind name");
    const auto [method, content] = fields.next("bind authentication");
    bind.method = method;
    if (method == kSimple)
        bind.password = asText(content);
    if (method == kSasl) {
        ber::Reader sasl(content);
        bind.mechanism = sasl.text("SASL mechanism");
        bind.credentials = sasl.takeIf(ber::kOctetString, "SASL credentials");
        sasl.expectEnd("SASL authentication");
    }
    return bind;
}

std::string_view stepOf(const BindRequest &bind) {
    if (bind.mechanism != digest::kMechanism)
        return {};
    if (!bind.credentials)
        return digest::kChallengeStep;
    return bind.offer ? digest::kProofStep : std::string_view();
}

BindReply serveBind(Directory &directory, Connection &connection, const Request &request,
                    const BindRequest &bind, const Fault *fault) {
    BindReply reply;
    try {
        reply = inContext(directory, connection, connection.identity, request,
                          [&](Context &context) { return run(context, bind, fault); });
    } catch (const OperationError &error) {
        reply.result = error.result();
    }
    if (fault != nullptr)
        fault->distort(reply.credentials);
    if (stepOf(bind) == digest::kChallengeStep && reply.credentials)
        connection.offer = digest::offerOf(*reply.credentials);
    raiseOperation({directory, connection, request, reply.result});
    return reply;
}

} // namespace stratasim
