#include "extended/registry.h"

#include "schema.h"

namespace stratasim {
namespace {

ResponseValue bindDn(const ExtendedCall &call) {
    return octetString(call.identity.dn);
}

// RFC 4532: the value is the authorisation identity itself, without any BER around it.
ResponseValue whoAmI(const ExtendedCall &call) {
    return call.identity.isAnonymous() ? std::string() : "dn:" + call.identity.dn;
}

/** Whose rights on which entry a privilege request asks for. */
struct PrivilegeQuestion {
    std::string entry;
    std::string trustee;
};

PrivilegeQuestion readQuestion(const ExtendedCall &call) {
    const Dn entry = call.arguments.dn(0);
    PrivilegeQuestion question{entry.key, call.arguments.dn(1).key};
    if (question.trustee != call.identity.key)
        requireRight(call.directory, call.identity, question.entry, "*", right::kAdminister);
    if (!entry.isRoot())
        call.directory.tree.require(entry);
    return question;
}

unsigned privileges(const ExtendedCall &call, const PrivilegeQuestion &question,
                    std::string_view attribute) {
    const std::string key = attribute == "*" ? "*" : schema::keyOf(attribute);
    return call.directory.rights(question.trustee, question.entry, key);
}

ResponseValue effectivePrivileges(const ExtendedCall &call) {
    const PrivilegeQuestion question = readQuestion(call);
    std::string value;
    ber::Writer(value).integer(privileges(call, question, call.arguments.text(2)));
    return value;
}

// SEQUENCE { SEQUENCE { count INTEGER }, SET OF SEQUENCE { privileges INTEGER } }
ResponseValue effectivePrivilegesList(const ExtendedCall &call) {
    const PrivilegeQuestion question = readQuestion(call);
    const auto &attributes = call.arguments.list(2);
    std::string value;
    ber::Writer writer(value);
    const std::size_t outer = writer.open(ber::kSequence);
    const std::size_t head = writer.open(ber::kSequence);
    writer.integer(static_cast<std::int64_t>(attributes.size()));
    writer.close(head);
    const std::size_t set = writer.open(ber::kSet);
    for (const std::string_view attribute : attributes) {
        const std::size_t element = writer.open(ber::kSequence);
        writer.integer(privileges(call, question, attribute));
        writer.close(element);
    }
    writer.close(set);
    writer.close(outer);
    return value;
}

} // namespace

std::vector<ExtendedOperation> identityOperations() {
    using enum ExtendedOperation::Access;
    return {
        strataOperation(31, "get-bind-dn", Open, "", bindDn),
        strataOperation(33, "get-effective-privileges", Open, "sss", effectivePrivileges),
        strataOperation(103, "get-effective-privileges-list", Open, "ssl", effectivePrivilegesList),
        {"1.3.6.1.4.1.4203.1.11.3", {}, "who-am-i", Open, "", whoAmI},
    };
}

} // namespace stratasim
