// Controls, and backup and restore.
#include "controls/control_list.h"
#include "memory/exported.h"
#include "memory/rows.h"
#include "session.h"
#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <cstdlib>
#include <cstring>
#include <qldapx.h>

namespace qldapx_test::memory {
namespace {

int flags[] = {1, 1, 1, 1, 1, 1, 1};
GetEffectiveItem item = {"cn", nullptr};
GetEffectiveItem *items[] = {&item, nullptr};

using Create = std::function<int(LDAP *ld, LDAPControl **ctrlp)>;

LDAPControl *create(Trial &trial, const char *function, const Create &work) {
    const Session session;
    LDAPControl *control = nullptr;
    const int result = trial.code(function, [&] { return work(session, &control); });
    trial.expect((result == LDAP_SUCCESS) == (control != nullptr), "another output");
    return control;
}

void addCreate(Rows &rows, const char *name, const Create &work) {
    const char *function = exportedNameIn(name);
    rows.push_back({name, [function, work](Trial &trial) {
                        const Watch watch(trial);
                        ldap_control_free(create(trial, function, work));
                    }});
}

// What was allocated before the failure stays: that is this control's contract.
void addProxiedAuthorization(Rows &rows) {
    static constexpr char function[] = "ldap_create_proxyauth_control";
    rows.push_back({function, [](Trial &trial) {
                        Watch watch(trial);
                        ldap_control_free(create(trial, function, [](LDAP *ld, LDAPControl **out) {
                            return ldap_create_proxyauth_control(ld, "cn=admin", out);
                        }));
                        watch.allow(trial.hasFailed() ? trial.number() - 1 : 0);
                    }});
}

// The function of the name that libldap has, too.
int createPlain(LDAP *ld, LDAPControl **ctrlp) {
    static auto *const function =
        ours(ldapx_create_persistentsearch_control, "ldap_create_"
                                                    "persistentsearch_control");
    return function(ld, 15, 1, 1, 1, ctrlp);
}

void addCreators(Rows &rows) {
    addCreate(rows,
              "ldap_create_"
              "persistentsearch_control",
              createPlain);
    addCreate(rows, "ldapx_create_persistentsearch_control", [](LDAP *ld, LDAPControl **out) {
        return ldapx_create_persistentsearch_control(ld, 15, 1, 1, 1, out);
    });
    addCreate(rows, "ldap_create_geteffective_control mode", [](LDAP *ld, LDAPControl **out) {
        return ldap_create_geteffective_control(ld, nullptr, 1, 1, out);
    });
    addCreate(rows, "ldap_create_geteffective_control items", [](LDAP *ld, LDAPControl **out) {
        return ldap_create_geteffective_control(ld, items, 2, 1, out);
    });
    addCreate(rows, "ldap_create_sstatus_control", [](LDAP *ld, LDAPControl **out) {
        return ldap_create_sstatus_control(ld, flags, 1, out);
    });
    addCreate(rows, "ldap_create_reference_control", [](LDAP *ld, LDAPControl **out) {
        return ldap_create_reference_control(ld, 1, out);
    });
    addProxiedAuthorization(rows);
}

using ParseEntryChange = decltype(ldapx_parse_entrychange_control);

void parseEntryChange(Trial &trial, const char *function, ParseEntryChange *parse) {
    const Watch watch(trial);
    ControlList controls;
    controls.add(entryChangeOid, fromHex("30 0b 0a 01 08 04 03 6f 3d 61 80 01 07"));
    const Session session;
    char unset[] = "unset";
    char *previous = unset;
    int type = 0, present = 0, number = 0;
    const int result = trial.code(function, [&] {
        return parse(session, controls.get(), &type, &previous, &present, &number);
    });
    trial.expect(result != LDAP_SUCCESS || (type == 8 && number == 7), "another output");
    if (previous != unset)
        ldap_memfree(previous);
}

void parseStatus(Trial &trial) {
    const Watch watch(trial);
    ControlList controls;
    controls.add(statusOid, fromHex("30 03 80 01 01"));
    const Session session;
    int numbers[4] = {};
    trial.code("ldap_parse_sstatus_control", [&] {
        return ldap_parse_sstatus_control(session, controls.get(), &numbers[0], &numbers[1],
                                          &numbers[2], &numbers[3]);
    });
}

// The strings of ref1, ref3 and ref5, and the list of the latter, are lost: that is its contract.
void parseReference(Trial &trial, const Bytes &value, long lost) {
    Watch watch(trial);
    watch.allow(lost);
    ControlList controls;
    controls.add(referenceOid, value);
    const Session session;
    char unset[] = "unset";
    char *reference = unset;
    const int result = trial.code("ldap_parse_reference_control", [&] {
        return ldap_parse_reference_control(session, controls.get(), nullptr, 0, nullptr, 0,
                                            nullptr, &reference);
    });
    trial.expect((result == LDAP_SUCCESS) == (reference != unset), "another output");
    if (reference != unset)
        ldap_memfree(reference);
}

void addParsers(Rows &rows) {
    rows.push_back({"entry change", [](Trial &trial) {
                        static auto *const plain =
                            ours(ldapx_parse_entrychange_control, "ldap_parse_"
                                                                  "entrychange_control");
                        parseEntryChange(trial,
                                         "ldap_parse_"
                                         "entrychange_control",
                                         plain);
                    }});
    rows.push_back({"entry change, the twin", [](Trial &trial) {
                        parseEntryChange(trial, "ldapx_parse_entrychange_control",
                                         ldapx_parse_entrychange_control);
                    }});
    rows.push_back({"status", parseStatus});
    rows.push_back({"reference", [](Trial &trial) {
                        parseReference(trial, set({tlv(0x82, "\x07"), tlv(0x86, "six")}), 0);
                    }});
    rows.push_back(
        {"reference with all", [](Trial &trial) {
             constexpr long textsAndList = 2 + 3;
             parseReference(
                 trial,
                 set({tlv(0x81, "one"), tlv(0x82, "\x07"), tlv(0x83, "three"), tlv(0x84, "\x07"),
                      tlv(0x85, sequence({octetString("five"), octetString("5")})),
                      tlv(0x86, "six")}),
                 textsAndList);
         }});
}

// 200 sizes: their text is longer than its first buffer.
Bytes backupValue() {
    Bytes sizes;
    for (int i = 0; i < 200; ++i)
        sizes += sequence({integer(4096)});
    return integer(3) + integer(5) + integer(7) + octetString("abc") +
           sequence({integer(200), tlv(0x31, sizes)});
}

void backUp(Trial &trial) {
    ScriptedPeer peer({ScriptedPeer::answer(
        extendedResponse(0, "2.16.840.1.907341.1.27.100.97", backupValue()))});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    char dn[] = "o=a", password[] = "secret";
    char *state = strdup("1+2"), *data = nullptr, *sizes = nullptr;
    int length = -1;
    const int result = trial.code("ldap_backup_object", [&] {
        return ldap_backup_object(ld, dn, password, &state, &data, &sizes, &length);
    });
    const bool isDone = result == LDAP_SUCCESS;
    trial.expect(std::strcmp(state, isDone ? "5+7" : "1+2") == 0 || (!isDone && state[1] == '\0'),
                 "another state");
    trial.expect((data != nullptr) == isDone && (sizes != nullptr) == isDone &&
                     length == (isDone ? 3 : -1),
                 "another output");
    for (char *text : {state, data, sizes})
        ldapx_memfree(text);
    peer.closeSession();
}

void restore(Trial &trial) {
    ScriptedPeer peer(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.99", std::nullopt))});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    std::string sizes = "2000;", data(5000, 'x');
    for (int i = 0; i < 2000; ++i)
        sizes += "4096;";
    char dn[] = "o=a", password[] = "secret";
    trial.code("ldap_restore_object", [&] {
        return ldap_restore_object(ld, dn, password, data.data(), sizes.data(), 5000);
    });
    peer.closeSession();
}

void takeBuffer(Trial &trial) {
    const Watch watch(trial);
    Bytes bytes = octetString("abc");
    berval value{bytes.size(), bytes.data()};
    BerElement *ber = ber_init(&value);
    char *buffer = bytes.data();
    const ber_tag_t tag =
        trial.call("get_returnedBuffer", [&] { return get_returnedBuffer(ber, &buffer); });
    trial.expect(tag == (trial.hasFailed() ? LBER_ERROR : LBER_OCTETSTRING), "another tag");
    trial.expect((buffer == nullptr) == trial.hasFailed(), "another output");
    ber_memfree(buffer);
    ber_free(ber, 1);
}

} // namespace

void addControls(Rows &rows) {
    addCreators(rows);
    addParsers(rows);
    rows.push_back({"backup", backUp});
    rows.push_back({"restore", restore});
    rows.push_back({"returned buffer", takeBuffer});
}

} // namespace qldapx_test::memory
