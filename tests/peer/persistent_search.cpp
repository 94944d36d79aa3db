#include "persistent_search.h"

#include "directory.h"

#include <gtest/gtest.h>
#include <qldapx.h>

namespace test {
namespace {

constexpr int longTime = 10000;

std::string dnOf(LDAP *ld, LDAPMessage *entry) {
    char *dn = ldap_get_dn(ld, entry);
    std::string text = dn != nullptr ? dn : "";
    ldap_memfree(dn);
    return text;
}

std::string nameOf(int type) {
    switch (type) {
    case additions:
        return "add ";
    case deletions:
        return "delete ";
    case modifications:
        return "modify ";
    case renames:
        return "rename ";
    default:
        return "change " + std::to_string(type) + " ";
    }
}

// The change as the library reads it.
std::string describeChange(LDAP *ld, LDAPControl **controls, const std::string &dn) {
    int type = -1;
    int numberPresent = -1;
    int number = -1;
    char *previous = nullptr;
    spoilSessionCode(ld);
    int code =
        ldap_parse_entrychange_control(ld, controls, &type, &previous, &numberPresent, &number);
    EXPECT_EQ(sessionCode(ld), code);
    if (code == LDAP_CONTROL_NOT_FOUND)
        return "plain " + dn;
    if (code != LDAP_SUCCESS)
        return "code " + std::to_string(code) + " " + dn;
    std::string words = nameOf(type) + dn;
    if (previous != nullptr)
        words += std::string(" from ") + previous;
    if (numberPresent != 0)
        words += " number " + std::to_string(number);
    ldap_memfree(previous);
    return words;
}

std::string describeEntry(LDAP *ld, LDAPMessage *entry) {
    LDAPControl **controls = nullptr;
    EXPECT_EQ(ldap_get_entry_controls(ld, entry, &controls), LDAP_SUCCESS);
    std::string words = describeChange(ld, controls, dnOf(ld, entry));
    ldap_controls_free(controls);
    return words;
}

std::string describeResult(LDAP *ld, LDAPMessage *message) {
    int code = -1;
    EXPECT_EQ(ldap_parse_result(ld, message, &code, nullptr, nullptr, nullptr, nullptr, 0),
              LDAP_SUCCESS);
    return "result " + std::to_string(code);
}

// The entry that awaitListening changes.
constexpr char probe[] = "probe";

bool isProbe(LDAP *ld, LDAPMessage *message) {
    return ldap_msgtype(message) == LDAP_RES_SEARCH_ENTRY &&
           dnOf(ld, message).starts_with(std::string("cn=") + probe);
}

} // namespace

int sessionCode(LDAP *ld) {
    int code = 0;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

void spoilSessionCode(LDAP *ld) {
    int code = LDAP_OTHER;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &code);
}

PersistentSearch::PersistentSearch(LDAP *ld, const std::string &base, const Wish &wish)
    : ld_(ld), wish_(wish) {
    LDAPControl *control = nullptr;
    spoilSessionCode(ld);
    EXPECT_EQ(ldap_create_persistentsearch_control(ld, wish.types, wish.changesOnly,
                                                   wish.returnControls, wish.isCritical, &control),
              LDAP_SUCCESS);
    ControlPtr owner(control);
    EXPECT_EQ(sessionCode(ld), LDAP_SUCCESS);
    LDAPControl *controls[] = {control, nullptr};
    EXPECT_EQ(ldap_search_ext(ld, base.c_str(), LDAP_SCOPE_SUBTREE, "(cn=*)", nullptr, 0, controls,
                              nullptr, nullptr, LDAP_NO_LIMIT, &id_),
              LDAP_SUCCESS);
}

bool PersistentSearch::hasMessageWithin(int milliseconds) {
    if (waiting_ == nullptr) {
        timeval patience{milliseconds / 1000, (milliseconds % 1000) * 1000};
        LDAPMessage *message = nullptr;
        ldap_result(ld_, id_, LDAP_MSG_ONE, &patience, &message);
        waiting_.reset(message);
    }
    return waiting_ != nullptr;
}

MessagePtr PersistentSearch::nextMessage() {
    while (hasMessageWithin(longTime) && isProbe(ld_, waiting_.get()))
        waiting_.reset();
    return std::move(waiting_);
}

std::string PersistentSearch::next() {
    MessagePtr message = nextMessage();
    if (message == nullptr)
        return "nothing";
    return ldap_msgtype(message.get()) == LDAP_RES_SEARCH_ENTRY
               ? describeEntry(ld_, message.get())
               : describeResult(ld_, message.get());
}

void PersistentSearch::abandon() {
    EXPECT_EQ(ldap_abandon_ext(ld_, id_, nullptr, nullptr), LDAP_SUCCESS);
    waiting_.reset();
}

std::vector<Change> changesOf(LDAP *writer, const std::string &base, const std::string &name) {
    std::string rdn = "cn=" + name;
    std::string newRdn = rdn + "-renamed";
    std::string dn = rdn + "," + base;
    std::string newDn = newRdn + "," + base;
    return {
        {additions, "add " + dn,
         [=] {
             return addEntry(writer, dn,
                             {{"objectClass", {"device"}}, {"description", {"to be deleted"}}});
         }},
        {modifications, "modify " + dn,
         [=] {
             char attribute[] = "description";
             LDAPMod mod{LDAP_MOD_DELETE, attribute, {nullptr}};
             LDAPMod *mods[] = {&mod, nullptr};
             return ldap_modify_ext_s(writer, dn.c_str(), mods, nullptr, nullptr);
         }},
        {renames, "rename " + newDn + " from " + dn,
         [=] {
             return ldap_rename_s(writer, dn.c_str(), newRdn.c_str(), nullptr, 1, nullptr, nullptr);
         }},
        {deletions, "delete " + newDn,
         [=] { return ldap_delete_ext_s(writer, newDn.c_str(), nullptr, nullptr); }},
    };
}

void expectTold(const std::vector<Change> &changes,
                const std::vector<PersistentSearch *> &searches) {
    for (const Change &change : changes) {
        ASSERT_EQ(change.make(), LDAP_SUCCESS) << change.words;
        for (PersistentSearch *search : searches)
            if ((search->wish().types & change.type) != 0) {
                ASSERT_EQ(search->next(), change.words);
            }
    }
}

void awaitListening(LDAP *writer, const std::string &base,
                    const std::vector<PersistentSearch *> &searches) {
    const std::vector<Change> changes = changesOf(writer, base, probe);
    for (PersistentSearch *search : searches) {
        for (int attempt = 0; attempt < 250 && !search->hasMessageWithin(20); ++attempt)
            for (const Change &change : changes)
                ASSERT_EQ(change.make(), LDAP_SUCCESS) << change.words;
        ASSERT_TRUE(search->hasMessageWithin(0)) << "the server does not watch for this search";
    }
}

} // namespace test
