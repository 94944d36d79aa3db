#include "schema_server.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace schema_server;

const std::vector<std::string> kAttributes = {"attributeTypes",  "objectClasses",    "ldapSyntaxes",
                                              "matchingRules",   "matchingRuleUse",  "nameForms",
                                              "dITContentRules", "dITStructureRules"};

std::vector<std::string> namesOf(const wire::Response &response) {
    std::vector<std::string> names;
    for (const wire::Values &attribute : response.entryAttributes.at(0))
        names.push_back(attribute.name);
    return names;
}

wire::Response read(InProcess &server, const std::vector<std::string> &attributes) {
    return server.ask(wire::search({.base = kDn, .scope = 0, .attributes = attributes}));
}

TEST(SchemaEntry, HasEightAttributesInOneOrder) {
    InProcess server;
    EXPECT_EQ(namesOf(read(server,
                           {"dITStructureRules", "DITCONTENTRULES", "nameforms", "MatchingRuleUse",
                            "matchingrules", "ldapsyntaxes", "OBJECTCLASSES", "attributetypes"})),
              kAttributes);
    // The names of RFC 4512 do not matter, the OIDs find them, too.
    EXPECT_EQ(namesOf(read(server, {"2.5.21.1"})), std::vector<std::string>{"dITStructureRules"});
    const auto all = namesOf(read(server, {"+"}));
    for (const std::string &name : kAttributes)
        EXPECT_NE(std::find(all.begin(), all.end(), name), all.end()) << name;
    EXPECT_EQ(namesOf(read(server, {})), (std::vector<std::string>{"objectClass", "cn"}));
}

TEST(SchemaEntry, HasTheElementsOfEachKind) {
    InProcess server;
    const std::pair<const char *, const char *> cases[] = {
        {"attributeTypes", "( 2.5.4.3 NAME ( 'cn' 'commonName' ) SUP name X-ORIGIN 'RFC 4519' )"},
        {"attributeTypes",
         "( 2.16.840.1.907341.9.1.1 NAME ( 'strataBadge' 'strataBadgeNumber' 'strataCard' ) DESC "
         "'The number on somebody\\27s badge, as in C:\\5cbadges' EQUALITY caseExactMatch SUBSTR "
         "caseExactSubstringsMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{64} SINGLE-VALUE X-ORIGIN "
         "'Strata' X-STRATA-FLAGS ( 'indexed' 'replicated' ) )"},
        {"attributeTypes", "( 2.16.840.1.907341.9.1.2 NAME 'strataPager' DESC 'Was a number to "
                           "call: use telephoneNumber' OBSOLETE SUP telephoneNumber X-ORIGIN "
                           "'Strata' )"},
        {"objectClasses", "( 2.5.6.0 NAME 'top' ABSTRACT MUST objectClass X-ORIGIN 'RFC 4512' )"},
        {"ldapSyntaxes", "( 1.3.6.1.4.1.1466.115.121.1.27 DESC 'INTEGER' X-ORIGIN 'RFC 4517' )"},
        {"matchingRules", "( 2.5.13.2 NAME 'caseIgnoreMatch' SYNTAX "
                          "1.3.6.1.4.1.1466.115.121.1.15 X-ORIGIN 'RFC 4517' )"},
        {"matchingRuleUse", "( 2.5.13.20 APPLIES ( telephoneNumber $ strataPager ) )"},
        {"nameForms", "( 2.16.840.1.907341.9.3.2 NAME 'strataUnitForm' OC organizationalUnit MUST "
                      "ou X-ORIGIN 'Strata' )"},
        {"dITContentRules",
         "( 2.16.840.1.113730.3.2.2 NAME 'strataPersonContent' DESC 'What people may be besides' "
         "AUX ( strataPerson $ uidObject ) MAY ( uidNumber $ gidNumber ) NOT ( street $ "
         "postOfficeBox ) X-ORIGIN 'Strata' )"},
        {"dITStructureRules", "( 2 NAME 'strataUnitRule' FORM strataUnitForm SUP ( 1 2 ) )"},
    };
    for (const auto &[attribute, text] : cases)
        EXPECT_TRUE(shows(server, attribute, text)) << text;
    for (const std::string &attribute : kAttributes) {
        const auto texts = shown(server, attribute);
        EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), texts.size());
    }
}

/** The OID or name behind the keyword in each description. */
std::vector<std::string> wordsBehind(const std::vector<std::string> &texts,
                                     const std::string &keyword) {
    std::vector<std::string> words;
    for (const std::string &text : texts)
        if (const auto at = text.find(" " + keyword + " "); at != std::string::npos) {
            const auto begin = at + keyword.size() + 2;
            words.push_back(text.substr(begin, text.find_first_of(" {", begin) - begin));
        }
    return words;
}

TEST(SchemaEntry, RefersOnlyToWhatIsThere) {
    InProcess server;
    const auto types = shown(server, "attributeTypes");
    const auto defined = [](const std::vector<std::string> &texts, const std::string &word) {
        return std::any_of(texts.begin(), texts.end(), [&](const std::string &text) {
            return text.starts_with("( " + word + " ") || contains(text, "'" + word + "'");
        });
    };
    const auto syntaxes = shown(server, "ldapSyntaxes");
    const auto rules = shown(server, "matchingRules");
    for (const std::string &syntax : wordsBehind(types, "SYNTAX"))
        EXPECT_TRUE(defined(syntaxes, syntax)) << syntax;
    for (const std::string &syntax : wordsBehind(rules, "SYNTAX"))
        EXPECT_TRUE(defined(syntaxes, syntax)) << syntax;
    for (const char *keyword : {"EQUALITY", "ORDERING", "SUBSTR"})
        for (const std::string &rule : wordsBehind(types, keyword))
            EXPECT_TRUE(defined(rules, rule)) << rule;
    for (const std::string &form : wordsBehind(shown(server, "dITStructureRules"), "FORM"))
        EXPECT_TRUE(defined(shown(server, "nameForms"), form)) << form;
    EXPECT_GE(wordsBehind(types, "SYNTAX").size(), 40U);
    // The server's own check finds nothing, either: a change of anything is accepted.
    server.bindAdmin();
    EXPECT_EQ(server.code(modify({add("attributeTypes", {"( 1.2.3 SUP name )"})})), 0);
}

TEST(SchemaEntry, DescriptionsMatchByTheirFirstComponent) {
    InProcess server;
    const auto finds = [&](const std::string &filter) {
        return server.ask(wire::search({.base = kDn, .scope = 0, .filter = filter})).entries.size();
    };
    EXPECT_EQ(finds(wire::equality("attributeTypes", "2.5.4.3")), 1U);
    EXPECT_EQ(finds(wire::equality("attributeTypes", "2.5.4.99")), 0U);
    EXPECT_EQ(finds(wire::equality("dITStructureRules", "3")), 1U);
    EXPECT_EQ(server.code(wire::compare(kDn, "objectClasses", "2.5.6.0")), 6);
    EXPECT_EQ(server.code(wire::compare(kDn, "objectClasses", "2.5.6")), 5);
}

TEST(SchemaEntry, CannotBeAddedDeletedOrRenamed) {
    InProcess server;
    server.bindAdmin();
    EXPECT_EQ(server.code(wire::remove(kDn)), 53);
    EXPECT_EQ(server.code(wire::rename(kDn, "cn=other", true)), 53);
    EXPECT_EQ(server.code(wire::add(kDn, {{"objectClass", {"top"}}, {"cn", {"schema"}}})), 53);
    EXPECT_EQ(server.code(wire::add("cn=x,cn=schema", {{"objectClass", {"top"}}})), 53);
}

std::vector<std::string> monitored(InProcess &server, const std::string &name) {
    const auto response =
        server.ask(wire::search({.base = "cn=monitor", .scope = 0, .attributes = {name}}));
    return response.entryAttributes.at(0).empty() ? std::vector<std::string>{}
                                                  : response.entryAttributes[0][0].values;
}

using Texts = std::vector<std::string>;

TEST(SchemaSync, ServersAreOutOfDateAfterAChange) {
    InProcess server;
    server.bindAdmin();
    const auto change = [&](const char *text) {
        EXPECT_EQ(server.code(modify({add("attributeTypes", {text})})), 0);
    };
    EXPECT_EQ(monitored(server, "schemaEpoch"), Texts{"0"});
    EXPECT_EQ(monitored(server, "schemaChangeTime"), Texts{});
    server.time = 1000005;
    change("( 1.2.3 SUP name )");
    EXPECT_EQ(monitored(server, "schemaEpoch"), Texts{"1"});
    EXPECT_EQ(monitored(server, "schemaChangeTime"), Texts{"19700112134645Z"});
    EXPECT_EQ(monitored(server, "schemaSyncTime"), Texts{});
    EXPECT_EQ(monitored(server, "schemaOutOfDate"), (Texts{kServer2, kServer3}));
    // What is refused changes nothing.
    EXPECT_NE(server.code(modify({add("attributeTypes", {"( 1.2.3 SUP name )"})})), 0);
    EXPECT_EQ(monitored(server, "schemaEpoch"), Texts{"1"});
    EXPECT_EQ(server.extended(27, wire::text(kServer2) + wire::number(10)).code, 0);
    EXPECT_EQ(monitored(server, "schemaOutOfDate"), (Texts{kServer2, kServer3}));
    server.time += 10;
    EXPECT_EQ(monitored(server, "schemaOutOfDate"), Texts{kServer3});
    EXPECT_EQ(monitored(server, "schemaSyncTime"), Texts{"19700112134655Z"});
    server.time += 10;
    EXPECT_EQ(server.extended(53).code, 0);
    EXPECT_EQ(monitored(server, "schemaOutOfDate"), Texts{});
    EXPECT_EQ(monitored(server, "schemaSyncTime"), Texts{"19700112134705Z"});
    change("( 1.2.4 SUP name )");
    EXPECT_EQ(monitored(server, "schemaEpoch"), Texts{"2"});
    EXPECT_EQ(monitored(server, "schemaOutOfDate"), (Texts{kServer2, kServer3}));
}

} // namespace
