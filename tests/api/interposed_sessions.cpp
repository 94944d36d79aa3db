// Every part of the library at work, by its own handle: for interposition_test, which has functions
// of the same names stand before the library's.
#include "sasl/proof.h"
#include "schema/samples.h"
#include "support/event_samples.h"
#include "support/modifications.h"
#include "tls/tls_server.h"

#include <cstring>
#include <dlfcn.h>
#include <qldapx/digest_challenge.h>
#include <qldapx/md5.h>

namespace qldapx_test {
namespace {

using Step = ScriptedPeer::Step;

template <class Function>
Function *own(const char *name) {
    static void *const library = dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    return reinterpret_cast<Function *>(dlsym(library, name));
}
#define OWN(name) own<decltype(name)>(#name)

Step extended(const char *oid, const std::optional<Bytes> &value = std::nullopt) {
    return ScriptedPeer::answer(extendedResponse(LDAP_SUCCESS, oid, value));
}

TEST(Interposed, OthersAreFoundByName) {
    for (const char *name : {"ldap_get_bind_dn", "parseOctetString", "MD5", "verify_callback"})
        EXPECT_NE(dlsym(RTLD_DEFAULT, name), own<void()>(name)) << name;
}

TEST(Interposed, Operations) {
    ScriptedPeer peer({extended("2.16.840.1.907341.1.27.100.32", octetString("cn=a")),
                       extended("2.16.840.1.907341.1.27.100.50"),
                       extended("2.16.840.1.907341.1.27.100.20", sequence({octetString("r")}))});
    char dn[] = "o=a", *identity = nullptr, **replicas = nullptr;
    EXPECT_EQ(OWN(ldap_get_context_identity_name)(peer.session(), &identity), LDAP_SUCCESS);
    EXPECT_STREQ(identity, "cn=a");
    OWN(ldapx_memfree)(identity);
    EXPECT_EQ(OWN(ldap_trigger_back_process)(peer.session(), LDAP_BACK_PROCESS_LIMBER, dn), 0);
    EXPECT_EQ(OWN(ldap_list_replicas)(peer.session(), dn, &replicas), LDAP_SUCCESS);
    ber_memvfree(reinterpret_cast<void **>(replicas));
}

TEST(Interposed, Searches) {
    ScriptedPeer peer({ScriptedPeer::answer(searchDone(LDAP_SUCCESS))});
    LDAPMessage *chain = nullptr;
    EXPECT_EQ(OWN(ldap_url_search_s)(peer.session(), "ldap:///o=a", 0, &chain), LDAP_SUCCESS);
    ldap_msgfree(chain);
}

TEST(Interposed, Backups) {
    const Bytes piece = join({integer(1), integer(5), integer(7), octetString("a"),
                              sequence({integer(1), tlv(0x31, sequence({integer(1)}))})});
    ScriptedPeer peer({extended("2.16.840.1.907341.1.27.100.97", piece),
                       extended("2.16.840.1.907341.1.27.100.99")});
    char dn[] = "o=a", *state = nullptr, *data = nullptr, *sizes = nullptr;
    int length = 0;
    EXPECT_EQ(OWN(ldap_backup_object)(peer.session(), dn, dn, &state, &data, &sizes, &length), 0);
    EXPECT_EQ(OWN(ldap_restore_object)(peer.session(), dn, dn, data, sizes, length), 0);
    for (char *text : {state, data, sizes})
        OWN(ldapx_memfree)(text);
}

TEST(Interposed, Controls) {
    ScriptedPeer peer({});
    LDAPControl *search = nullptr, *proxy = nullptr;
    EXPECT_EQ(OWN(ldapx_create_persistentsearch_control)(peer.session(), 1, 1, 1, 1, &search), 0);
    EXPECT_EQ(OWN(ldap_create_proxyauth_control)(peer.session(), "o=a", &proxy), 0);
    for (LDAPControl *control : {search, proxy})
        ldap_control_free(control);
}

LDAPMessage *nextOf(LDAP *ld, int id) {
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    EXPECT_GT(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message), 0);
    return message;
}

TEST(Interposed, Events) {
    std::vector<Bytes> events;
    for (const EventSample &sample : eventSamples())
        events.push_back(eventMessage(notification(7, 0, sample.payload())));
    ScriptedPeer peer({ScriptedPeer::answers(events)});
    EventSpecification wanted{7, 0};
    int id = 0;
    ASSERT_EQ(OWN(ldap_monitor_events)(peer.session(), 1, &wanted, &id), LDAP_SUCCESS);
    for (const EventSample &sample : eventSamples()) {
        int type = 0, result = 0;
        void *event = nullptr, *address = nullptr;
        EXPECT_EQ(OWN(ldap_parse_ds_event_IP)(peer.session(), nextOf(peer.session(), id), &type,
                                              &result, &event, 1, &address),
                  LDAP_SUCCESS)
            << sample.name;
        OWN(ldap_event_free)(event);
        OWN(ldap_event_free)(address);
    }
}

TEST(Interposed, BulkUpdates) {
    ScriptedPeer peer({extended("2.16.840.1.907341.1.142.100.7")});
    char dn[] = "cn=a";
    Modifications mods;
    mods.strings(LDAP_MOD_ADD, "cn", {"a"});
    LBURPOperation add{LDAP_REQ_ADD, dn, static_cast<void *>(mods.list()), nullptr};
    LBURPOperation modify{LDAP_REQ_MODIFY, dn, static_cast<void *>(mods.list()), nullptr};
    LBURPOperation rename{LDAP_REQ_MODDN, dn, dn, nullptr};
    LBURPOperation remove{LDAP_REQ_DELETE, dn, nullptr, nullptr};
    LBURPOperation *operations[] = {&add, &modify, &rename, &remove, nullptr};
    int id = 0, code = -1, count = -1;
    LBURPOperationFailure *failures = nullptr;
    ASSERT_EQ(OWN(ldap_lburp_operation_request)(peer.session(), 1, operations, &id), 0);
    EXPECT_EQ(OWN(ldap_parse_lburp_operation_response)(peer.session(), nextOf(peer.session(), id),
                                                       &code, nullptr, &count, &failures, 1),
              LDAP_SUCCESS);
    EXPECT_EQ(count, 0);
}

TEST(Interposed, Schemas) {
    const Step subentry = subentryAnswer({{"attributeTypes", {"( 1.1 NAME 'a' )", "( 1.2 )"}},
                                          {"nameForms", {"( 2.1 OC c MUST a )"}},
                                          {"dITContentRules", {"( 3.1 )"}},
                                          {"dITStructureRules", {"( 1 FORM f )"}}});
    ScriptedPeer peer({subentryAnswer({{"subschemaSubentry", {"cn=s"}}}), subentry,
                       ScriptedPeer::answer(tlv(0x67, fromHex("0a 01 00 04 00 04 00")))});
    LDAPSchema *schema = nullptr;
    ASSERT_EQ(OWN(ldap_schema_fetch)(peer.session(), &schema, nullptr), LDAP_SUCCESS);
    Modifications added, changed;
    added.strings(0, "OID", {"1.3"}).strings(0, "NAME", {"m"}).strings(0, "X-Y", {"z"});
    changed.strings(LDAP_MOD_ADD, "DESC", {"y"}).strings(LDAP_MOD_DELETE, "NAME", {"a"});
    EXPECT_EQ(OWN(ldap_schema_add)(schema, 0, added.list()), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldap_schema_modify)(schema, "a", 0, changed.list()), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldap_schema_delete)(schema, 0, "1.2"), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldap_schema_save)(peer.session(), schema, "cn=s"), LDAP_SUCCESS);
    LDAPSchemaElement *element = nullptr;
    char **names = nullptr;
    EXPECT_EQ(OWN(ldap_schema_get_by_index)(schema, 0, 7, &element), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldap_schema_get_field_names)(element, &names), LDAP_SUCCESS);
    for (char **name = names; *name != nullptr; ++name)
        std::free(*name);
    std::free(static_cast<void *>(names));
    EXPECT_EQ(OWN(ldap_schema_free)(schema), LDAP_SUCCESS);
}

const Bytes challenge = "realm=r,nonce=\"n\\\"o\",qop=\"auth,auth-conf\",cipher=\"3des,rc4\","
                        "charset=utf-8,algorithm=md5-sess,maxbuf=4096";

Bytes answerTo(const Bytes &message) {
    Proof proof = proofFor(message, "joe", "secret");
    proof.nonce = "n\"o"; // in the message its quote is escaped
    return provenAnswer(proof);
}

TEST(Interposed, DigestBinds) {
    ScriptedPeer peer({ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challenge)),
                       ScriptedPeer::computed(answerTo)});
    void *context = nullptr;
    ASSERT_EQ(OWN(ldap_bind_digest_md5_start)(peer.session(), &context), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldap_bind_digest_md5_finish)(&context, "joe", "secret", -1, 0, 1), LDAP_SUCCESS);
}

TEST(Interposed, PartsOfADigestBind) {
    Bytes text = challenge;
    berval credentials{text.size(), text.data()};
    DigestChallenge *record = nullptr;
    ASSERT_EQ(OWN(getDigestChallenge)(&credentials, &record, 0), 0);
    EXPECT_EQ(record->qopOptions, 5);
    EXPECT_EQ(record->maxbuf, 4096U);
    OWN(ldapx_memfree)(record->realms->realm);
    OWN(freeDigestChallenge)(record);
    Bytes reply = "rspauth=x";
    berval proof{reply.size(), reply.data()};
    char *value = nullptr;
    EXPECT_EQ(OWN(getResponseAuth)(&proof, &value), 0);
    EXPECT_STREQ(value, "x");
    OWN(ldapx_memfree)(value);
}

TEST(Interposed, DigestsAndThePool) {
    unsigned char bytes[40] = {}, digest[16];
    EXPECT_EQ(OWN(XRAND_bytes)(bytes, sizeof bytes), 0);
    OWN(XRAND_seed)(bytes, sizeof bytes);
    EXPECT_EQ(OWN(XRAND_status)(), 1);
    OWN(XRAND_cleanup)();
    OWN(MD5)(bytes, 0, digest);
    EXPECT_EQ(digest[0], 0xd4);
}

int acceptAll(struct x509_store_ctx_st * /*certificate*/) {
    return 0;
}

int bindOver(LDAP *ld) {
    const int version = LDAP_VERSION3;
    const timeval patience{10, 0};
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
    berval none{0, nullptr};
    const int result =
        ldap_sasl_bind_s(ld, nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr, nullptr);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return result;
}

TEST(Interposed, TlsSessions) {
    const test::Authority authority;
    const test::Issued client = authority.issue({"client", ""});
    const test::TlsServer server(authority.issue());
    std::string trust = authority.own().pem(), certificate = client.pem(), key = client.keyPem();
    const berval trustBytes{trust.size(), trust.data()}, keyBytes{key.size(), key.data()},
        certificateBytes{certificate.size(), certificate.data()};
    ASSERT_EQ(OWN(ldapssl_client_init)(nullptr), 0);
    EXPECT_EQ(OWN(ldapssl_set_verify_callback)(acceptAll), 0);
    EXPECT_EQ(bindOver(OWN(ldapssl_init)("127.0.0.1", server.port(), 1)), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldapssl_set_verify_callback)(nullptr), 0);
    EXPECT_EQ(OWN(ldapssl_add_trusted_cert)(&trustBytes, QLDAPX_TLS_BUFFER_PEM), 0);
    EXPECT_EQ(OWN(ldapssl_set_client_cert)(&certificateBytes, QLDAPX_TLS_BUFFER_PEM, nullptr), 0);
    EXPECT_EQ(OWN(ldapssl_set_client_private_key)(&keyBytes, QLDAPX_TLS_BUFFER_PEM, nullptr), 0);
    EXPECT_EQ(bindOver(OWN(ldapssl_init)("127.0.0.1", server.port(), 1)), LDAP_SUCCESS);
    EXPECT_EQ(OWN(ldapssl_client_deinit)(), 0);
}

} // namespace
} // namespace qldapx_test
