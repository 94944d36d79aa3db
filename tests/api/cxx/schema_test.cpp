// Schemas: fetched, gone through, searched, edited and saved.
#include "answers.h"

namespace api_test {
namespace {

namespace schema = qldapx::schema;
using qldapx::change;
using qldapx::modifications;
using schema::kind;

// SearchResultEntry ::= [APPLICATION 4] SEQUENCE { objectName, attributes SEQUENCE OF
//     SEQUENCE { type, vals SET OF value } }
ScriptedPeer::Step entryOf(const std::vector<std::pair<std::string, std::string>> &attributes) {
    Bytes list;
    for (const auto &[type, value] : attributes)
        list += sequence({octetString(type), set({octetString(value)})});
    return ScriptedPeer::answers(
        {tlv(0x64, octetString("cn=schema") + tlv(0x30, list)), searchDone(LDAP_SUCCESS)});
}

ScriptedPeer::Step subentry() {
    return entryOf({{"attributeTypes", "( 1.2 NAME 'a' DESC 'first' X-B 'c' )"},
                    {"objectClasses", "( 2.1 NAME 'oc' ABSTRACT )"},
                    {"ldapSyntaxes", "( 2.2 DESC 'syntax' )"},
                    {"matchingRules", "( 2.3 NAME 'mr' SYNTAX 2.2 )"},
                    {"matchingRuleUse", "( 2.3 NAME 'mr' APPLIES a )"},
                    {"nameForms", "( 2.4 NAME 'nf' OC oc MUST a )"},
                    {"dITContentRules", "( 2.1 NAME 'cr' )"},
                    {"dITStructureRules", "( 1 NAME 'sr' FORM nf )"}});
}

ScriptedPeer::Step modified(int code) {
    return ScriptedPeer::answer(spoken(0x67, code));
}

/** The schema of a peer that then plays these steps. */
class CxxSchema : public testing::Test {
  protected:
    explicit CxxSchema(ScriptedPeer::Step step = ScriptedPeer::silence())
        : peer({subentry(), std::move(step)}) {}
    ScriptedPeer peer;
    schema::schema fetched = *schema::fetch(borrowed(peer), "cn=schema");
};

std::string told(const qldapx::result<schema::description> &description) {
    return description ? describe(description->attribute) + " " + describe(description->value)
                       : describe(description.error());
}

TEST_F(CxxSchema, IsGoneThrough) {
    EXPECT_EQ(fetched.count(kind::attribute_type), 1);
    EXPECT_EQ(fetched.count(static_cast<kind>(8)), 0);
    const schema::element_range elements = fetched.elements(kind::attribute_type);
    EXPECT_EQ(elements.size(), 1);
    std::string all;
    for (schema::element each : elements)
        all += each.record<LDAPAttributeType>()->at_oid;
    EXPECT_EQ(all, "1.2");
    auto at = elements.begin();
    EXPECT_EQ((*at++).kind(), kind::attribute_type);
    EXPECT_EQ(at, elements.end());
    EXPECT_EQ(fetched.elements(static_cast<kind>(8)).size(), 0);
}

TEST_F(CxxSchema, FindsElements) {
    EXPECT_TRUE(fetched.find(kind::attribute_type, "A"));
    EXPECT_TRUE(fetched.find(kind::attribute_type, "1.2"));
    EXPECT_EQ(fetched.find(kind::attribute_type, "b").error().code(), LDAP_NO_SUCH_OBJECT);
    EXPECT_EQ(fetched.at(kind::attribute_type, 0)->record<LDAPAttributeType>()->at_oid,
              std::string("1.2"));
    EXPECT_EQ(fetched.at(kind::attribute_type, 1).error().code(), LDAP_PARAM_ERROR);
}

template <class Record>
bool isOnly(const schema::schema &fetched, kind which) {
    bool right = fetched.at(which, 0)->record<Record>() != nullptr;
    for (unsigned other = 0; other < 8; ++other)
        if (static_cast<kind>(other) != which)
            right &= fetched.at(static_cast<kind>(other), 0)->record<Record>() == nullptr;
    return right;
}

TEST_F(CxxSchema, HasARecordOfEachKind) {
    EXPECT_TRUE(isOnly<LDAPAttributeType>(fetched, kind::attribute_type));
    EXPECT_TRUE(isOnly<LDAPObjectClass>(fetched, kind::object_class));
    EXPECT_TRUE(isOnly<LDAPSyntax>(fetched, kind::syntax));
    EXPECT_TRUE(isOnly<LDAPMatchingRule>(fetched, kind::matching_rule));
    EXPECT_TRUE(isOnly<LDAPMatchingRuleUse>(fetched, kind::matching_rule_use));
    EXPECT_TRUE(isOnly<LDAPNameForm>(fetched, kind::name_form));
    EXPECT_TRUE(isOnly<LDAPContentRule>(fetched, kind::dit_content_rule));
    EXPECT_TRUE(isOnly<LDAPDITStructureRule>(fetched, kind::dit_structure_rule));
}

TEST_F(CxxSchema, IsGoneThroughByRecord) {
    const auto types = fetched.records<LDAPAttributeType>();
    EXPECT_EQ(types.size(), 1);
    std::string all;
    for (const LDAPAttributeType &type : types)
        all += type.at_oid;
    EXPECT_EQ(all, "1.2");
    auto at = types.begin();
    EXPECT_STREQ(at->at_oid, "1.2");
    EXPECT_STREQ((*at++).at_oid, "1.2");
    EXPECT_EQ(at, types.end());
    EXPECT_NE(types.begin(), types.end());
    EXPECT_STREQ(fetched.records<LDAPDITStructureRule>().begin()->sr_ruleid, "1");
}

TEST_F(CxxSchema, HasFields) {
    const schema::element element = *fetched.find(kind::attribute_type, "a");
    EXPECT_EQ(describe(element.field_names()), "OID,NAME,DESC,userApplications,X-B,");
    EXPECT_EQ(describe(element.field_values("desc")), "first,");
    EXPECT_EQ(describe(element.field_values("SUP")), "16||");
    EXPECT_EQ(told(element.description()), "attributeTypes ( 1.2 NAME 'a' DESC 'first' X-B 'c' )");
}

TEST(CxxElement, ThatHasNoRecordCannotBeWritten) {
    LDAPSchemaElement raw = {LDAP_SCHEMA_SYNTAX, nullptr};
    EXPECT_EQ(told(schema::element(qldapx::borrow, &raw).description()), "-2||");
}

TEST_F(CxxSchema, IsEdited) {
    modifications fields;
    fields.attribute("OID", {"1.3"}).attribute("NAME", {"b"});
    EXPECT_EQ(describe(fetched.add(kind::attribute_type, fields)), "done");
    EXPECT_EQ(fetched.count(kind::attribute_type), 2);
    fields.clear();
    fields.add(change::replace, "DESC", {"second"});
    EXPECT_EQ(describe(fetched.modify(kind::attribute_type, "b", fields)), "done");
    EXPECT_EQ(told(fetched.find(kind::attribute_type, "1.3")->description()),
              "attributeTypes ( 1.3 NAME 'b' DESC 'second' )");
    EXPECT_EQ(describe(fetched.remove(kind::attribute_type, "b")), "done");
    EXPECT_EQ(fetched.count(kind::attribute_type), 1);
}

TEST_F(CxxSchema, RefusesEditsThatAreNone) {
    modifications fields;
    fields.attribute("USAGE", {"nonsense"});
    EXPECT_EQ(describe(fetched.add(kind::attribute_type, fields)), "-9||");
    EXPECT_EQ(describe(fetched.modify(kind::attribute_type, "b", fields)), "32||");
    EXPECT_EQ(describe(fetched.add(kind::attribute_type, nullptr)), "-9||");
    EXPECT_EQ(describe(fetched.modify(kind::attribute_type, "b", nullptr)), "-9||");
    EXPECT_EQ(describe(fetched.remove(kind::attribute_type, "b")), "32||");
}

class CxxSchemaSaved : public CxxSchema {
  protected:
    CxxSchemaSaved() : CxxSchema(modified(LDAP_SUCCESS)) {}
};

TEST_F(CxxSchemaSaved, SendsItsEdits) {
    EXPECT_EQ(describe(fetched.remove(kind::attribute_type, "a")), "done");
    EXPECT_EQ(describe(fetched.save(borrowed(peer), "cn=schema")), "done");
    EXPECT_EQ(describe(fetched.save(borrowed(peer), "cn=schema")), "done");
    EXPECT_EQ(peer.received().size(), 2U);
}

class CxxSchemaRefused : public CxxSchema {
  protected:
    CxxSchemaRefused() : CxxSchema(modified(LDAP_NO_SUCH_OBJECT)) {}
};

TEST_F(CxxSchemaRefused, HasTheServersWords) {
    EXPECT_EQ(describe(fetched.remove(kind::attribute_type, "a")), "done");
    EXPECT_EQ(describe(fetched.save(borrowed(peer), "cn=schema")), refused);
}

TEST(CxxSchemaFetch, Fails) {
    ScriptedPeer refusing({ScriptedPeer::answer(spoken(0x65, LDAP_NO_SUCH_OBJECT))});
    EXPECT_EQ(describe(schema::fetch(borrowed(refusing), "cn=schema").error()), refused);
    ScriptedPeer nameless({entryOf({})});
    EXPECT_EQ(describe(schema::fetch(borrowed(nameless)).error()), "-14||");
}

TEST(CxxSchemaFetch, AsksTheRootDse) {
    ScriptedPeer peer({entryOf({{"subschemaSubentry", "cn=schema"}}), subentry()});
    EXPECT_TRUE(schema::fetch(borrowed(peer)));
}

TEST(CxxSchemaDn, IsTheRootDses) {
    ScriptedPeer peer({entryOf({{"subschemaSubentry", "cn=schema"}}), entryOf({})});
    EXPECT_EQ(describe(schema::subentry_dn(borrowed(peer))), "cn=schema");
    EXPECT_EQ(describe(schema::subentry_dn(borrowed(peer))), "-14||");
}

} // namespace
} // namespace api_test
