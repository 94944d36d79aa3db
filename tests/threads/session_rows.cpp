// Sessions in parallel, each with a peer of its own: every operation of the interface.
#include "rows.h"

#include "controls/control_list.h"
#include "extops/operations.h"
#include "lburp/answered.h"
#include "sasl/proof.h"
#include "support/event_samples.h"
#include "support/modifications.h"
#include "support/scripted_peer.h"

#include <cstdlib>
#include <cstring>

namespace qldapx_test {
namespace {

using Step = ScriptedPeer::Step;

void administrate(unsigned /*round*/) {
    for (const OperationCase &operation : allOperations()) {
        ScriptedPeer peer({ScriptedPeer::answer(operation.response())});
        Outputs outputs;
        const int result = operation.call(peer.session(), outputs);
        require(result == LDAP_SUCCESS && outputs.describe(result) == operation.output,
                operation.name);
    }
}

void search(unsigned /*round*/) {
    ScriptedPeer peer({ScriptedPeer::answers({searchEntry("o=a"), searchDone(LDAP_SUCCESS)})});
    LDAPMessage *chain = nullptr;
    require(ldap_url_search_s(peer.session(), "ldap:///o=a??sub?(cn=b%20c)", 0, &chain) ==
                LDAP_SUCCESS,
            "a search by URL");
    require(ldap_count_entries(peer.session(), chain) == 1, "its entry");
    ldap_msgfree(chain);
}

void backUp(unsigned /*round*/) {
    const Bytes sizes = sequence({integer(1), tlv(0x31, sequence({integer(3)}))});
    const Bytes piece = join({integer(3), integer(5), integer(7), octetString("abc"), sizes});
    ScriptedPeer peer({
        ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.97", piece)),
        ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.99", std::nullopt)),
    });
    char dn[] = "o=a", password[] = "secret";
    char *state = nullptr, *data = nullptr, *chunkSizes = nullptr;
    int length = 0;
    require(ldap_backup_object(peer.session(), dn, password, &state, &data, &chunkSizes, &length) ==
                    LDAP_SUCCESS &&
                std::strcmp(state, "5+7") == 0 && std::strcmp(chunkSizes, "1;3;") == 0,
            "a backup");
    require(ldap_restore_object(peer.session(), dn, password, data, chunkSizes, length) ==
                LDAP_SUCCESS,
            "a restoration");
    for (char *text : {state, data, chunkSizes})
        ldapx_memfree(text);
}

void createControls(LDAP *ld) {
    int flags[] = {1, 0, -1, 1, 0, 1, 0};
    GetEffectiveItem item{"cn", nullptr};
    GetEffectiveItem *items[] = {&item, nullptr};
    LDAPControl *made[5] = {};
    require(ldap_create_persistentsearch_control(ld, 15, 1, 1, 1, &made[0]) == 0 &&
                ldap_create_proxyauth_control(ld, "dn:o=a", &made[1]) == 0 &&
                ldap_create_geteffective_control(ld, items, 2, 1, &made[2]) == 0 &&
                ldap_create_sstatus_control(ld, flags, 1, &made[3]) == 0 &&
                ldap_create_reference_control(ld, 1, &made[4]) == 0,
            "controls are made");
    for (LDAPControl *control : made)
        ldap_control_free(control);
}

void parseControls(LDAP *ld) {
    ControlList controls;
    controls
        .add(entryChangeOid, sequence({tlv(0x0a, "\x08"), octetString("cn=b"), tlv(0x80, "\x05")}))
        .add(referenceOid, set({tlv(0x86, "six")}));
    int type = 0, isPresent = 0, number = 0;
    char *previous = nullptr, *reference = nullptr;
    require(ldap_parse_entrychange_control(ld, controls.get(), &type, &previous, &isPresent,
                                           &number) == LDAP_SUCCESS &&
                type == 8 && number == 5,
            "a change");
    require(ldap_parse_reference_control(ld, controls.get(), nullptr, 0, nullptr, 0, nullptr,
                                         &reference) == LDAP_SUCCESS &&
                std::strcmp(reference, "six") == 0,
            "a reference");
    ldap_memfree(previous);
    ldap_memfree(reference);
}

void useControls(unsigned /*round*/) {
    ScriptedPeer peer({});
    createControls(peer.session());
    parseControls(peer.session());
}

MessagePtr nextOf(LDAP *ld, int id) {
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    require(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message) > 0, "a message comes");
    return MessagePtr(message);
}

void readFields(const void *event) {
    LDAPXEventField field;
    for (int i = 0; ldapx_event_field(event, i, &field) == 1; ++i)
        require(field.name != nullptr, "a field has its name");
}

void parseOne(LDAP *ld, LDAPMessage *message, const EventSample &sample) {
    int type = 0, result = 0;
    void *event = nullptr, *address = nullptr;
    require(ldap_parse_ds_event_IP(ld, message, &type, &result, &event, 0, &address) ==
                LDAP_SUCCESS,
            std::string("an event: ") + sample.name);
    if (event != nullptr) {
        require(ldapx_event_kind(event) == sample.kind, sample.name);
        readFields(event);
    }
    ldap_event_free(event);
    ldap_event_free(address);
}

void monitor(unsigned /*round*/) {
    std::vector<Bytes> events;
    for (const EventSample &sample : eventSamples())
        events.push_back(eventMessage(notification(7, 0, sample.payload())));
    ScriptedPeer peer({ScriptedPeer::answers(std::move(events))});
    EventSpecification wanted{7, 0};
    int id = 0;
    require(ldap_monitor_events(peer.session(), 1, &wanted, &id) == LDAP_SUCCESS, "monitoring");
    for (const EventSample &sample : eventSamples())
        parseOne(peer.session(), nextOf(peer.session(), id).get(), sample);
}

void startBulk(LDAP *ld) {
    int id = 0, code = -1, size = 0;
    require(ldap_lburp_start_request(ld, &id) == LDAP_SUCCESS, "a bulk update");
    require(ldap_parse_lburp_start_response(ld, nextOf(ld, id).get(), &code, nullptr, &size, 0) ==
                    LDAP_SUCCESS &&
                code == LDAP_SUCCESS && size == 100,
            "it has started");
}

void sendBulk(LDAP *ld) {
    char dn[] = "cn=a";
    Modifications attributes;
    attributes.strings(LDAP_MOD_ADD, "cn", {"a"});
    LBURPOperation add{LDAP_REQ_ADD, dn, static_cast<void *>(attributes.list()), nullptr};
    LBURPOperation remove{LDAP_REQ_DELETE, dn, nullptr, nullptr};
    LBURPOperation *operations[] = {&add, &remove, nullptr};
    int id = 0, code = -1, count = 0;
    LBURPOperationFailure *failures = nullptr;
    require(ldap_lburp_operation_request(ld, 1, operations, &id) == LDAP_SUCCESS, "operations");
    require(ldap_parse_lburp_operation_response(ld, nextOf(ld, id).get(), &code, nullptr, &count,
                                                &failures, 0) == LDAP_SUCCESS &&
                count == 1 && failures[0].resultCode == 68,
            "one of them has failed");
    ldap_memfree(failures[0].errorMessage);
    ldapx_memfree(failures);
}

void endBulk(LDAP *ld) {
    int id = 0, code = -1;
    require(ldap_lburp_end_request(ld, 2, &id) == LDAP_SUCCESS, "the end");
    require(ldap_parse_lburp_end_response(ld, nextOf(ld, id).get(), &code, nullptr, 0) ==
                    LDAP_SUCCESS &&
                code == LDAP_SUCCESS,
            "it has ended");
}

void updateInBulk(unsigned /*round*/) {
    ScriptedPeer peer({
        ScriptedPeer::answer(extendedResponse(0, startResponseOid, sequence({integer(100)}))),
        ScriptedPeer::answer(extendedResponse(80, operationResponseOid, failure(1, 68, "", "x"))),
        ScriptedPeer::answer(extendedResponse(0, endResponseOid, std::nullopt)),
    });
    startBulk(peer.session());
    sendBulk(peer.session());
    endBulk(peer.session());
}

Bytes answerTo(const Bytes &message) {
    return provenAnswer(proofFor(message, "joe", "secret"));
}

void bindByDigest(unsigned /*round*/) {
    const Bytes challenge = "realm=\"r\",nonce=\"N\",qop=\"auth\",charset=utf-8,algorithm=md5-sess";
    ScriptedPeer peer({ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challenge)),
                       ScriptedPeer::computed(answerTo)});
    void *context = nullptr;
    require(ldap_bind_digest_md5_start(peer.session(), &context) == LDAP_SUCCESS, "a challenge");
    require(ldap_bind_digest_md5_finish(&context, "joe", "secret", -1, 0, QLDAPX_DIGEST_COMPLETE) ==
                LDAP_SUCCESS,
            "a bind");
}

const Row rows[] = {
    {"operations", 3, {administrate, administrate, administrate, administrate}},
    {"searches", 50, {search, search, search}},
    {"backups", 50, {backUp, backUp, backUp}},
    {"controls", 50, {useControls, useControls, useControls}},
    {"events", 15, {monitor, monitor, monitor, monitor}},
    {"bulk-updates", 30, {updateInBulk, updateInBulk, updateInBulk}},
    {"digest-binds", 40, {bindByDigest, bindByDigest, bindByDigest, bindByDigest}},
    {"all-at-once", 3, {administrate, search, backUp, monitor, updateInBulk, bindByDigest}},
};

} // namespace

std::span<const Row> sessionRows() {
    return rows;
}

} // namespace qldapx_test
