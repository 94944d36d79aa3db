#include "model_wire.h"

#include "support/ldap_message.h"
#include "support/scripted_peer.h"

namespace qldapx_test::model {

namespace {

constexpr char subentry[] = "cn=schema";

// SearchResultEntry ::= [APPLICATION 4] SEQUENCE { objectName, attributes SEQUENCE OF SEQUENCE {
//     type, vals SET OF value } }
Bytes schemaEntry(const Descriptions &descriptions) {
    Bytes attributes;
    for (unsigned kind = 0; kind < kindCount; ++kind) {
        Bytes values;
        for (const std::string &description : descriptions[kind])
            values += octetString(description);
        if (!values.empty())
            attributes += sequence({octetString(attributeOf(kind)), set({values})});
    }
    return tlv(0x64, octetString(subentry) + sequence({attributes}));
}

// ModifyResponse ::= [APPLICATION 7] LDAPResult
Bytes modifyResponse(int code) {
    return tlv(0x67, join({tlv(0x0a, Bytes(1, static_cast<char>(code))), octetString(""),
                           octetString("")}));
}

} // namespace

SchemaPtr fetch(const Descriptions &descriptions) {
    ScriptedPeer peer({ScriptedPeer::answers({schemaEntry(descriptions), searchDone(0)})});
    LDAPSchema *schema = nullptr;
    EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, subentry), LDAP_SUCCESS);
    return SchemaPtr(schema);
}

Bytes save(LDAPSchema *schema, int answer) {
    ScriptedPeer peer({ScriptedPeer::answer(modifyResponse(answer))});
    int result = ldap_schema_save(peer.session(), schema, subentry);
    const std::vector<Bytes> &received = peer.received();
    EXPECT_EQ(result, received.empty() ? LDAP_SUCCESS : answer);
    EXPECT_LE(received.size(), 1U);
    return received.empty() ? Bytes() : received.front();
}

// ModifyRequest ::= [APPLICATION 6] SEQUENCE { object, changes SEQUENCE OF SEQUENCE {
//     operation ENUMERATED { add (0), delete (1) }, modification SEQUENCE { type, vals SET } } }
Bytes modifyRequest(const std::vector<Change> &changes) {
    Bytes list;
    for (const Change &change : changes)
        list += sequence({tlv(0x0a, Bytes(1, change.operation == LDAP_MOD_DELETE ? '\1' : '\0')),
                          sequence({octetString(attributeOf(change.kind)),
                                    set({octetString(change.description)})})});
    return changes.empty() ? Bytes()
                           : ldapMessage(1, tlv(0x66, octetString(subentry) + sequence({list})));
}

} // namespace qldapx_test::model
