// Elements added, changed and deleted: what the store holds then, what is noted, what is sent.
#include "schema/samples.h"
#include "support/modifications.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <qldapx/schema_element.h>
#include <random>

namespace qldapx_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

constexpr int add = LDAP_MOD_ADD;
constexpr int del = LDAP_MOD_DELETE;
constexpr int replace = LDAP_MOD_REPLACE;

// ModifyRequest ::= [APPLICATION 6] SEQUENCE { object, changes SEQUENCE OF
//     SEQUENCE { operation ENUMERATED, modification SEQUENCE { type, vals SET OF value } } }
Bytes change(int operation, const char *attribute, const std::string &description) {
    return sequence({tlv(0x0a, Bytes(1, static_cast<char>(operation))),
                     sequence({octetString(attribute), tlv(0x31, octetString(description))})});
}

Bytes modifyRequest(int id, const std::string &dn, std::initializer_list<Bytes> changes) {
    return sequence({integer(id), tlv(0x66, octetString(dn) + sequence(changes))});
}

// ModifyResponse ::= [APPLICATION 7] LDAPResult
ScriptedPeer::Step modifyAnswer(int code) {
    return ScriptedPeer::answer(tlv(0x67, tlv(0x0a, Bytes(1, static_cast<char>(code))) +
                                              octetString("") + octetString("")));
}

// Saves, and gives what was sent.
Strings saved(const SchemaPtr &schema, int code = LDAP_SUCCESS) {
    ScriptedPeer peer({modifyAnswer(code)});
    EXPECT_EQ(ldap_schema_save(peer.session(), schema.get(), "cn=schema"), code);
    Strings sent;
    for (const Bytes &message : peer.received())
        sent.push_back(toHex(message));
    return sent;
}

std::string asSent(std::initializer_list<Bytes> changes) {
    return toHex(modifyRequest(1, "cn=schema", changes));
}

const Strings types = {"( 1.1 NAME 'a' DESC 'x' )", "( 1.2 NAME 'b' )", "( 1.3 NAME 'c' )"};

TEST(SchemaAdd, IsFoundNotedAndSent) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(del, "oid", {"1.15"}).strings(replace, "NAME", {"z", "aa"});
    EXPECT_EQ(ldap_schema_add(schema.get(), 0, fields.list()), LDAP_SUCCESS);
    EXPECT_THAT(listed(schema, 0),
                ElementsAre(types[0], "( 1.15 NAME ( 'z' 'aa' ) )", types[1], types[2]));
    for (const char *key : {"1.15", "z", "AA"})
        EXPECT_EQ(find(schema, 0, key), elementAt(schema, 0, 1)) << key;
    for (const char *key : {"a", "b", "c", "1.1", "1.2", "1.3"})
        EXPECT_NE(find(schema, 0, key), nullptr) << key;
    EXPECT_THAT(saved(schema),
                ElementsAre(asSent({change(add, "attributeTypes", "( 1.15 NAME ( 'z' 'aa' ) )")})));
}

TEST(SchemaAdd, OfEachKind) {
    const struct {
        unsigned kind;
        Modifications fields;
        const char *description;
    } rows[] = {
        {0, {}, "( )"}, {1, {}, "( ABSTRACT )"}, {2, {}, "( )"}, {3, {}, "( )"},
        {4, {}, "( )"}, {6, {}, "( )"},          {7, {}, "( )"},
    };
    for (const auto &row : rows) {
        const SchemaPtr schema = fetched(std::vector<Described>{});
        LDAPMod *none[] = {nullptr};
        EXPECT_EQ(ldap_schema_add(schema.get(), row.kind, none), LDAP_SUCCESS);
        EXPECT_THAT(listed(schema, row.kind), ElementsAre(row.description));
        EXPECT_THAT(
            saved(schema),
            ElementsAre(asSent({change(add, schemaAttributes[row.kind], row.description)})));
    }
    const SchemaPtr schema = fetched(std::vector<Described>{});
    Modifications fields;
    fields.strings(add, "OID", {"1.2"}).strings(add, "OC", {"c"}).strings(add, "MUST", {"m"});
    EXPECT_EQ(ldap_schema_add(schema.get(), 5, fields.list()), LDAP_SUCCESS);
    EXPECT_THAT(listed(schema, 5), ElementsAre("( 1.2 OC c MUST m )"));
}

// The same OID and the same name again are stored beside the others.
TEST(SchemaAdd, Duplicates) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(add, "OID", {"1.2"}).strings(add, "NAME", {"b"}).strings(add, "DESC", {"2"});
    EXPECT_EQ(ldap_schema_add(schema.get(), 0, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 0), 4);
    EXPECT_NE(find(schema, 0, "b"), nullptr);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "b"), LDAP_SUCCESS);
    EXPECT_NE(find(schema, 0, "b"), nullptr) << "the other one's name stays";
    EXPECT_NE(find(schema, 0, "1.2"), nullptr);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "b"), LDAP_SUCCESS);
    EXPECT_EQ(find(schema, 0, "b"), nullptr);
    EXPECT_THAT(listed(schema, 0), ElementsAre(types[0], types[2]));
}

// A failure leaves neither the element nor a note.
TEST(SchemaAdd, Failures) {
    const SchemaPtr schema = fetched(0, types);
    char xName[] = "X-A";
    Modifications usage, extension, form;
    usage.strings(add, "OID", {"1.9"}).strings(add, "USAGE", {"operational"});
    extension.strings(add, "OID", {"1.9"}).strings(add, "NAME", {"n"}).raw({add, xName, {}});
    form.strings(add, "OID", {"1.9"}).strings(add, "NAME", {"n"}).strings(add, "OC", {"c"});
    EXPECT_EQ(ldap_schema_add(schema.get(), 0, usage.list()), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_add(schema.get(), 0, extension.list()), LDAP_NO_MEMORY);
    EXPECT_EQ(ldap_schema_add(schema.get(), 5, form.list()), LDAP_LOCAL_ERROR) << "no MUST";
    EXPECT_EQ(ldap_schema_add(nullptr, 0, form.list()), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_add(schema.get(), 0, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_add(schema.get(), 8, form.list()), LDAP_PARAM_ERROR);
    EXPECT_THAT(listed(schema, 0), testing::ElementsAreArray(types));
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 5), 0);
    EXPECT_EQ(find(schema, 0, "n"), nullptr);
    EXPECT_EQ(find(schema, 5, "n"), nullptr);
    EXPECT_THAT(saved(schema), IsEmpty());
}

TEST(SchemaModify, NotesTheOldAndTheNew) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(replace, "DESC", {"y"}).strings(add, "SINGLE-VALUE", {});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "A", 0, fields.list()), LDAP_SUCCESS);
    const std::string changed = "( 1.1 NAME 'a' DESC 'y' SINGLE-VALUE )";
    EXPECT_THAT(listed(schema, 0), ElementsAre(changed, types[1], types[2]));
    EXPECT_THAT(saved(schema), ElementsAre(asSent({change(del, "attributeTypes", types[0]),
                                                   change(add, "attributeTypes", changed)})));
}

// Found under its old names, not under the new ones, until it is fetched again.
TEST(SchemaModify, Renaming) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(replace, "NAME", {"new"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(find(schema, 0, "a"), elementAt(schema, 0, 0));
    EXPECT_EQ(find(schema, 0, "new"), nullptr);
    EXPECT_EQ(described(find(schema, 0, "1.1")), "( 1.1 NAME 'new' DESC 'x' )");
    // Deleted, it is found under none.
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "a"), LDAP_SUCCESS);
    for (const char *key : {"a", "new", "1.1"})
        EXPECT_EQ(find(schema, 0, key), nullptr) << key;
    for (const char *key : {"b", "c"})
        EXPECT_NE(find(schema, 0, key), nullptr) << key;
}

// Renamed to a name that another element has: that one keeps it.
TEST(SchemaModify, RenamingToAnothersName) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(replace, "NAME", {"c", "d", "e", "f"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "1.1"), LDAP_SUCCESS);
    EXPECT_EQ(find(schema, 0, "c"), find(schema, 0, "1.3"));
    EXPECT_NE(find(schema, 0, "b"), nullptr);
    EXPECT_EQ(find(schema, 0, "a"), nullptr);
    // Nothing is left to be emptied twice.
    for (const char *key : {"b", "c"})
        EXPECT_EQ(ldap_schema_delete(schema.get(), 0, key), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 0), 0);
    EXPECT_EQ(find(schema, 0, "c"), nullptr);
}

TEST(SchemaModify, NewOid) {
    for (const char *oid : {"0.5", "1.15", "1.25", "9.9"}) {
        const SchemaPtr schema = fetched(0, types);
        Modifications fields;
        fields.strings(replace, "OID", {oid});
        EXPECT_EQ(ldap_schema_modify(schema.get(), "1.2", 0, fields.list()), LDAP_SUCCESS);
        Strings oids;
        for (int i = 0; i < 3; ++i)
            oids.emplace_back(
                static_cast<LDAPAttributeType *>(elementAt(schema, 0, i)->record)->at_oid);
        EXPECT_TRUE(std::is_sorted(oids.begin(), oids.end())) << oid;
        for (const char *key : {"1.1", "1.3", oid})
            EXPECT_NE(find(schema, 0, key), nullptr) << key;
        EXPECT_EQ(find(schema, 0, "1.2"), nullptr);
    }
}

// Without an OID it goes behind the others, found by name, and cannot be deleted.
TEST(SchemaModify, NoOid) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(del, "OID", {});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "1.1", 0, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(find(schema, 0, "a"), elementAt(schema, 0, 2));
    EXPECT_EQ(find(schema, 0, "1.1"), nullptr);
    EXPECT_NE(find(schema, 0, "1.3"), nullptr);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "a"), LDAP_PARAM_ERROR);
    EXPECT_NE(find(schema, 0, "a"), nullptr);
    Modifications another;
    another.strings(add, "OID", {"1.0"});
    EXPECT_EQ(ldap_schema_add(schema.get(), 0, another.list()), LDAP_SUCCESS);
    EXPECT_EQ(elementAt(schema, 0, 0), find(schema, 0, "1.0"));
    EXPECT_EQ(elementAt(schema, 0, 3), find(schema, 0, "a"));
}

// A rule id is changed where the rule stands; the next edit of its kind restores the order.
TEST(SchemaModify, NewRuleId) {
    const SchemaPtr schema = fetched(7, {"( 1 NAME 'a' )", "( 2 NAME 'b' )", "( 3 NAME 'c' )"});
    Modifications fields;
    fields.strings(replace, "RULEID", {"9"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "1", 7, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(described(elementAt(schema, 7, 0)), "( 9 NAME 'a' )");
    EXPECT_EQ(find(schema, 7, "a"), elementAt(schema, 7, 0));
    Modifications another;
    another.strings(add, "RULEID", {"5"});
    EXPECT_EQ(ldap_schema_add(schema.get(), 7, another.list()), LDAP_SUCCESS);
    EXPECT_THAT(listed(schema, 7),
                ElementsAre("( 2 NAME 'b' )", "( 3 NAME 'c' )", "( 5 )", "( 9 NAME 'a' )"));
    EXPECT_EQ(find(schema, 7, "9"), elementAt(schema, 7, 3));
}

TEST(SchemaModify, NewRuleIdThenDeleted) {
    const SchemaPtr schema = fetched(7, {"( 1 NAME 'a' )", "( 2 NAME 'b' )", "( 3 NAME 'c' )"});
    Modifications fields;
    fields.strings(replace, "RULEID", {"9"}).strings(replace, "X-A", {"x"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "1", 7, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 7, "a"), LDAP_SUCCESS);
    EXPECT_THAT(listed(schema, 7), ElementsAre("( 2 NAME 'b' )", "( 3 NAME 'c' )"));
}

TEST(SchemaModify, NewRuleIdWithNewName) {
    const SchemaPtr schema = fetched(7, {"( 1 NAME 'a' )", "( 2 NAME 'b' )", "( 3 NAME 'c' )"});
    Modifications fields;
    fields.strings(replace, "RULEID", {"9"}).strings(replace, "NAME", {"z"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "1", 7, fields.list()), LDAP_SUCCESS);
    EXPECT_EQ(find(schema, 7, "9"), elementAt(schema, 7, 2));
}

// Written and read again, the element is as it was; nothing is noted.
TEST(SchemaModify, FailureRestores) {
    const SchemaPtr classes = fetched(1, {"( 1.2 NAME 'b' STRUCTURAL MAY m )", "( 1.1 )"});
    Modifications empties, usage;
    empties.strings(replace, "NAME", {"new"}).strings(del, "MAY", {"m"});
    EXPECT_EQ(ldap_schema_modify(classes.get(), "b", 1, empties.list()), LDAP_LOCAL_ERROR);
    EXPECT_EQ(described(find(classes, 1, "b")), "( 1.2 NAME 'b' STRUCTURAL MAY m )");
    EXPECT_EQ(find(classes, 1, "b"), elementAt(classes, 1, 1));
    EXPECT_EQ(find(classes, 1, "new"), nullptr);
    EXPECT_THAT(saved(classes), IsEmpty());

    const SchemaPtr schema = fetched(0, types);
    usage.strings(replace, "DESC", {"new"}).strings(add, "USAGE", {"none"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "1.1", 0, usage.list()), LDAP_PARAM_ERROR);
    EXPECT_THAT(listed(schema, 0), testing::ElementsAreArray(types));
    EXPECT_EQ(find(schema, 0, "a"), elementAt(schema, 0, 0));
    EXPECT_THAT(saved(schema), IsEmpty());
}

// A class without an OID is put back, too, and a rule that its own id does not lead to.
TEST(SchemaModify, FailureRestoresWhatHasNoKey) {
    const SchemaPtr classes = fetched(1, {"( 1.1 )", "( NAME 'x' STRUCTURAL MAY m )"});
    Modifications empties;
    empties.strings(del, "MAY", {"m"});
    EXPECT_EQ(ldap_schema_modify(classes.get(), "x", 1, empties.list()), LDAP_LOCAL_ERROR);
    EXPECT_EQ(described(find(classes, 1, "x")), "( NAME 'x' STRUCTURAL MAY m )");
    EXPECT_EQ(find(classes, 1, "x"), elementAt(classes, 1, 1));

    const SchemaPtr rules = fetched(7, {"( 1 NAME 'a' )", "( 2 NAME 'b' )", "( 3 NAME 'c' )"});
    Modifications id, empty;
    char xName[] = "X-A";
    id.strings(replace, "RULEID", {"9"});
    empty.raw({add, xName, {}});
    EXPECT_EQ(ldap_schema_modify(rules.get(), "2", 7, id.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_modify(rules.get(), "b", 7, empty.list()), LDAP_NO_MEMORY);
    EXPECT_THAT(listed(rules, 7),
                ElementsAre("( 1 NAME 'a' )", "( 3 NAME 'c' )", "( 9 NAME 'b' )"));
}

// A description that would not be understood again is left alone.
TEST(SchemaModify, QuoteInTheOldDescription) {
    const SchemaPtr schema = fetched(0, types);
    Modifications quote, other;
    quote.strings(replace, "DESC", {"it's"});
    other.strings(replace, "DESC", {"fine"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, quote.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, other.list()), LDAP_LOCAL_ERROR);
    EXPECT_EQ(described(find(schema, 0, "a")), "( 1.1 NAME 'a' DESC 'it's' )");
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "a"), LDAP_SUCCESS);
    EXPECT_THAT(
        saved(schema),
        ElementsAre(asSent({change(del, "attributeTypes", types[0]),
                            change(add, "attributeTypes", "( 1.1 NAME 'a' DESC 'it's' )"),
                            change(del, "attributeTypes", "( 1.1 NAME 'a' DESC 'it's' )")})));
}

TEST(SchemaModify, Arguments) {
    const SchemaPtr schema = fetched(0, types);
    Modifications fields;
    fields.strings(replace, "DESC", {"new"});
    LDAPMod **list = fields.list();
    EXPECT_EQ(ldap_schema_modify(nullptr, "a", 0, list), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_modify(schema.get(), nullptr, 0, list), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 8, list), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_modify(schema.get(), "x", 0, list), LDAP_NO_SUCH_OBJECT);
    EXPECT_EQ(ldap_schema_delete(nullptr, 0, "a"), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 8, "a"), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "x"), LDAP_NO_SUCH_OBJECT);
    EXPECT_EQ(remove_element(nullptr, "1.1", 0), LDAP_PARAM_ERROR);
    EXPECT_EQ(remove_element(schema.get(), nullptr, 0), LDAP_PARAM_ERROR);
    EXPECT_EQ(remove_element(schema.get(), "1.1", 8), LDAP_PARAM_ERROR);
    EXPECT_EQ(remove_element(schema.get(), "a", 0), LDAP_NO_SUCH_OBJECT);
    EXPECT_THAT(saved(schema), IsEmpty());
}

TEST(SchemaDelete, IsGoneAndNoted) {
    const SchemaPtr schema = fetched(0, types);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "B"), LDAP_SUCCESS);
    EXPECT_THAT(listed(schema, 0), ElementsAre(types[0], types[2]));
    EXPECT_EQ(find(schema, 0, "b"), nullptr);
    EXPECT_EQ(find(schema, 0, "1.2"), nullptr);
    EXPECT_EQ(remove_element(schema.get(), "1.3", 0), LDAP_SUCCESS);
    EXPECT_EQ(find(schema, 0, "c"), nullptr);
    EXPECT_THAT(saved(schema), ElementsAre(asSent({change(del, "attributeTypes", types[1])})));
}

// What cannot be written cannot be deleted.
TEST(SchemaDelete, CannotBeWritten) {
    const SchemaPtr schema = fetched(1, {"( 1.2 NAME 'b' MAY m )"});
    char m[] = "m";
    char *values[] = {m, nullptr};
    ASSERT_EQ(modify_element(elementAt(schema, 1, 0), "MAY", values, del), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 1, "b"), LDAP_LOCAL_ERROR);
    EXPECT_NE(find(schema, 1, "b"), nullptr);
}

// The rest of the schema stays as it is whatever of it goes.
TEST(SchemaDelete, OneOfMany) {
    Strings values;
    for (int i = 0; i < 200; ++i)
        values.push_back("( 1.2." + std::to_string(i) + " NAME ( 'a" + std::to_string(i) + "' 'b" +
                         std::to_string(i) + "' ) )");
    const SchemaPtr schema = fetched(0, values);
    for (int gone = 0; gone < 200; gone += 3) {
        EXPECT_EQ(ldap_schema_delete(schema.get(), 0, ("b" + std::to_string(gone)).c_str()), 0);
        for (int i = 0; i < 200; ++i) {
            const bool isGone = i <= gone && i % 3 == 0;
            for (const std::string key : {"1.2.", "a", "b"})
                ASSERT_EQ(find(schema, 0, (key + std::to_string(i)).c_str()) == nullptr, isGone);
        }
    }
}

// Of several elements with one OID the one that is meant goes.
TEST(SchemaDelete, OneOfThoseWithAnOid) {
    for (const char *gone : {"a", "b", "c"}) {
        const SchemaPtr schema =
            fetched(0, {"( 1.2 NAME 'a' )", "( 1.2 NAME 'b' )", "( 1.2 NAME 'c' )"});
        EXPECT_EQ(ldap_schema_delete(schema.get(), 0, gone), LDAP_SUCCESS);
        for (const char *name : {"a", "b", "c"})
            EXPECT_EQ(find(schema, 0, name) == nullptr, std::string(name) == gone);
        EXPECT_EQ(listed(schema, 0).size(), 2U);
        EXPECT_THAT(listed(schema, 0),
                    testing::Not(testing::Contains(testing::HasSubstr(std::string("'") + gone))));
    }
}

// Large lists stay searchable while elements come in between the others and leave again.
TEST(SchemaEdits, AmongMany) {
    std::vector<std::string> oids, values;
    for (int i = 100; i < 300; ++i) {
        oids.push_back("1.2." + std::to_string(i));
        values.push_back("( " + oids.back() + " )");
    }
    const SchemaPtr schema = fetched(0, values);
    const auto expectAll = [&] {
        for (const std::string &oid : oids)
            ASSERT_NE(find(schema, 0, oid.c_str()), nullptr) << oid;
        ASSERT_EQ(ldap_schema_get_count(schema.get(), 0), static_cast<int>(oids.size()));
        ASSERT_EQ(find(schema, 0, "1.2.1"), nullptr);
        ASSERT_EQ(find(schema, 0, "1.2.9"), nullptr);
    };
    const auto added = [&](const std::string &oid) {
        Modifications fields;
        fields.strings(add, "OID", {oid.c_str()});
        ASSERT_EQ(ldap_schema_add(schema.get(), 0, fields.list()), LDAP_SUCCESS);
        oids.push_back(oid);
        expectAll();
    };
    for (int i = 100; i < 300; i += 7)
        for (const char *more : {".1", ".0", "5"})
            added("1.2." + std::to_string(i) + more);
    for (const char *oid : {"0.1", "1.1", "1.3", "9.9", "1.2"})
        added(oid);
    std::shuffle(oids.begin(), oids.end(), std::mt19937(3)); // NOLINT: the same each time
    while (oids.size() > 20) {
        ASSERT_EQ(ldap_schema_delete(schema.get(), 0, oids.back().c_str()), LDAP_SUCCESS);
        ASSERT_EQ(find(schema, 0, oids.back().c_str()), nullptr);
        oids.pop_back();
        expectAll();
    }
}

// An element of more names than are moved one by one comes and goes among the others.
TEST(SchemaEdits, ManyNames) {
    std::vector<std::string> values;
    for (int i = 0; i < 50; ++i)
        values.push_back("( 1.2." + std::to_string(i) + " NAME ( 'm" + std::to_string(i) +
                         "' 'shared' ) )");
    const SchemaPtr schema = fetched(0, values);
    std::string list;
    for (int i = 0; i < 3000; ++i)
        list += " 'n" + std::to_string(i * 7919 % 3001) + "'";
    const std::string oid = "1.2.3.4";
    const SchemaPtr source = fetched(0, {"( " + oid + " NAME (" + list + " 'shared' ) )"});
    char **names = nullptr;
    ASSERT_EQ(ldap_schema_get_field_values(elementAt(source, 0, 0), "NAME", &names), LDAP_SUCCESS);
    char name[] = "NAME";
    Modifications fields;
    fields.strings(add, "OID", {oid.c_str()}).raw({add, name, {names}});
    ASSERT_EQ(ldap_schema_add(schema.get(), 0, fields.list()), LDAP_SUCCESS);
    for (char **each = names; each[1] != nullptr; ++each)
        ASSERT_EQ(find(schema, 0, *each), find(schema, 0, oid.c_str())) << *each;
    // Renamed, it keeps its entries until it goes.
    Modifications renamed;
    renamed.strings(replace, "NAME", {"shared"});
    ASSERT_EQ(ldap_schema_modify(schema.get(), oid.c_str(), 0, renamed.list()), LDAP_SUCCESS);
    ASSERT_EQ(ldap_schema_delete(schema.get(), 0, oid.c_str()), LDAP_SUCCESS);
    for (char **each = names; each[1] != nullptr; ++each)
        ASSERT_EQ(find(schema, 0, *each), nullptr) << *each;
    for (int i = 0; i < 50; ++i)
        ASSERT_NE(find(schema, 0, ("m" + std::to_string(i)).c_str()), nullptr);
    EXPECT_NE(find(schema, 0, "shared"), nullptr);
    taken(names);
}

// An OID that is changed again and again, through all places.
TEST(SchemaEdits, OidsChanged) {
    std::vector<std::string> oids, values;
    for (int i = 100; i < 300; ++i) {
        oids.push_back("1.2." + std::to_string(i));
        values.push_back("( " + oids.back() + " )");
    }
    const SchemaPtr schema = fetched(0, values);
    std::mt19937 random(5); // NOLINT: the same each time
    for (int i = 0; i < 500; ++i) {
        std::string &oid = oids[random() % oids.size()];
        const std::string changed =
            "1.2." + std::to_string(random() % 400) + "." + std::to_string(i);
        Modifications fields;
        fields.strings(replace, "OID", {changed.c_str()});
        ASSERT_EQ(ldap_schema_modify(schema.get(), oid.c_str(), 0, fields.list()), LDAP_SUCCESS);
        ASSERT_EQ(find(schema, 0, oid.c_str()), nullptr);
        oid = changed;
        for (const std::string &other : oids)
            ASSERT_NE(find(schema, 0, other.c_str()), nullptr) << other;
    }
    std::sort(oids.begin(), oids.end());
    for (std::size_t i = 0; i < oids.size(); ++i)
        ASSERT_EQ(elementAt(schema, 0, static_cast<int>(i)), find(schema, 0, oids[i].c_str()));
}

TEST(SchemaSave, NothingIsNotSent) {
    const SchemaPtr schema = fetched(0, types);
    EXPECT_THAT(saved(schema), IsEmpty());
}

TEST(SchemaSave, Arguments) {
    const SchemaPtr schema = fetched(0, types);
    ScriptedPeer peer({});
    EXPECT_EQ(ldap_schema_save(nullptr, schema.get(), "x"), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_save(peer.session(), nullptr, "x"), LDAP_PARAM_ERROR);
    EXPECT_TRUE(peer.received().empty());
}

// All edits in one request, in their order; refused, they are gone while the store keeps them.
TEST(SchemaSave, RefusalLosesTheNotes) {
    const SchemaPtr schema = fetched(0, types);
    Modifications first, second, added;
    first.strings(replace, "DESC", {"1"});
    second.strings(replace, "DESC", {"2"});
    added.strings(add, "OID", {"1.4"});
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, first.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_add(schema.get(), 1, added.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_modify(schema.get(), "a", 0, second.list()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_delete(schema.get(), 0, "a"), LDAP_SUCCESS);
    const auto type = [](int operation, const std::string &description) {
        return change(operation, "attributeTypes", "( 1.1 NAME 'a' DESC '" + description + "' )");
    };
    EXPECT_THAT(saved(schema, LDAP_UNWILLING_TO_PERFORM),
                ElementsAre(asSent({type(del, "x"), type(add, "1"),
                                    change(add, "objectClasses", "( 1.4 ABSTRACT )"),
                                    type(del, "1"), type(add, "2"), type(del, "2")})));
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 0), 2);
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 1), 1);
    EXPECT_THAT(saved(schema), IsEmpty());
}

TEST(SchemaSave, FindsTheDn) {
    const SchemaPtr schema = fetched(0, types);
    ASSERT_EQ(ldap_schema_delete(schema.get(), 0, "a"), LDAP_SUCCESS);
    // Not found, they stay noted.
    ScriptedPeer silent({subentryAnswer({})});
    EXPECT_EQ(ldap_schema_save(silent.session(), schema.get(), nullptr), LDAP_NO_RESULTS_RETURNED);
    EXPECT_EQ(silent.received().size(), 1U);
    ScriptedPeer peer({subentryAnswer({{"subschemaSubentry", {"cn=sub"}}}), modifyAnswer(0)});
    EXPECT_EQ(ldap_schema_save(peer.session(), schema.get(), nullptr), LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(toHex(peer.received()[1]),
              toHex(modifyRequest(2, "cn=sub", {change(del, "attributeTypes", types[0])})));
}

TEST(SchemaSave, ManyEdits) {
    const SchemaPtr schema = fetched(0, types);
    for (int i = 0; i < 500; ++i) {
        Modifications fields;
        const std::string oid = "1.7." + std::to_string(i);
        fields.strings(add, "OID", {oid.c_str()});
        ASSERT_EQ(ldap_schema_add(schema.get(), 0, fields.list()), LDAP_SUCCESS);
    }
    ASSERT_EQ(saved(schema).size(), 1U);
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 0), 503);
}

TEST(SchemaNotes, AreAddedAndDropped) {
    const SchemaPtr schema = fetched(0, types);
    char type[] = "other", text[] = "value", second[] = "two";
    char *values[] = {text, second, nullptr};
    LDAPMod two = {replace, type, {values}};
    LDAPMod none = {del, type, {nullptr}};
    EXPECT_EQ(add_change(schema.get(), &two), LDAP_SUCCESS);
    EXPECT_EQ(add_change(schema.get(), &none), LDAP_SUCCESS);
    text[0] = 'V'; // it was copied
    EXPECT_EQ(store_update(schema.get(), elementAt(schema, 0, 1), del), LDAP_SUCCESS);
    const Bytes both = tlv(0x31, octetString("value") + octetString("two"));
    EXPECT_THAT(
        saved(schema),
        ElementsAre(asSent(
            {sequence({fromHex("0a 01 02"), sequence({octetString("other"), both})}),
             sequence({fromHex("0a 01 01"), sequence({octetString("other"), tlv(0x31, "")})}),
             change(del, "attributeTypes", types[1])})));
    EXPECT_EQ(store_update(schema.get(), elementAt(schema, 0, 1), del), LDAP_SUCCESS);
    free_changes(schema.get());
    free_changes(schema.get());
    EXPECT_THAT(saved(schema), IsEmpty());
}

} // namespace
} // namespace qldapx_test
