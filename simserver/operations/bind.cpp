#include "operations/operations.h"

#include "schema.h"

namespace stratasim {
namespace {

constexpr std::uint8_t kSimple = 0x80;
constexpr std::int64_t kVersion = 3;

bool isPassword(const Directory &directory, const Dn &dn, std::string_view password) {
    if (dn.key == directory.administratorDn().key)
        return password == directory.administratorPassword();
    const auto node = directory.tree.find(dn.key);
    const Attribute *stored = node ? node->entry.find(schema::kPassword) : nullptr;
    return stored != nullptr && hasValue(*stored, password);
}

} // namespace

// BindRequest ::= [APPLICATION 0] SEQUENCE { version INTEGER, name LDAPDN, authentication CHOICE }
Result bind(Context &context, Bytes body) {
    ber::Reader fields(body);
    const std::int64_t version = fields.integer(ber::kInteger, "bind version");
    const std::string_view name = fields.text("bind name");
    const ber::Element authentication = fields.next("bind authentication");
    if (version != kVersion)
        throw OperationError(ResultCode::ProtocolError, "this server speaks LDAP version 3 only");
    if (authentication.tag != kSimple)
        throw OperationError(ResultCode::AuthMethodNotSupported, "use a simple bind");
    const Dn dn = requireDn(name);
    const std::string_view password = asText(authentication.value);
    if (dn.isRoot() && password.empty())
        return {};
    if (password.empty())
        throw OperationError(ResultCode::UnwillingToPerform,
                             "a DN without a password proves nothing: give a password, or no DN");
    if (!isPassword(context.directory, dn, password))
        throw OperationError(ResultCode::InvalidCredentials, "wrong DN or password");
    const auto node = context.directory.tree.find(dn.key);
    context.connection.identity = {node ? node->dn : dn.text, dn.key};
    return {};
}

} // namespace stratasim
