#include "corpus.h"
#include "schema_samples.h"

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;

struct NamedText {
    const char *name;
    const char *text;
};

const NamedText structureRules[] = {
    {"Plain", "( 1 FORM ou )"},
    {"Everything", "( 21 NAME ( 'a' 'b' ) DESC 'it is' OBSOLETE FORM 1.2.3 SUP ( 1 2 ) X-A 'v' "
                   "X-B ( 'v' 'w' ) )"},
    {"Dollars", "(1 FORM f SUP (1$2 $ 3))"},
    {"Quotes", "( '1' FORM 'f' SUP ( '1' '2' ) )"},
    {"Dots", "( 1.2 FORM f SUP 1.3 )"},
    {"WithoutId", "( NAME 'a' FORM f )"},
    {"WordForId", "( word NAME 'a' FORM f )"},
    {"WithoutForm", "( 1 NAME 'a' )"},
    {"Twice", "( 1 FORM f FORM g )"},
    {"EmptyLists", "( 1 NAME ( ) FORM f SUP ( ) X-A ( ) )"},
    {"Unbalanced", "( 1 NAME ( 'a' FORM f SUP ( 1"},
    {"OpenQuote", "( 1 DESC 'a"},
    {"Behind", "( 1 FORM f ) more"},
    {"Nothing", ""},
};

struct NamedEntry {
    const char *name;
    Descriptions descriptions;
};

const NamedEntry entries[] = {
    {"Empty", {}},
    {"UnreadableType", {{"attributeTypes", "( oid NAME 'x' )"}, {"attributeTypes", "nonsense"}}},
    {"UnreadableSyntax", {{"ldapSyntaxes", "( 1.2 )"}, {"ldapSyntaxes", "( x )"}}},
    {"ClassesWithoutOid",
     {{"objectClasses", "( b-oid NAME 'b' )"}, {"objectClasses", "( NAME 'a' SUP top )"}}},
    {"SameOidsAndNames",
     {{"attributeTypes", "( 1.2 NAME ( 'a' 'A' ) )"}, {"attributeTypes", "( 1.2 NAME 'a' )"}}},
    {"OtherAttributes", {{"cn", "schema"}, {"attributetypes", "( 1.2 )"}}},
    {"EmptyLists",
     {{"objectClasses", "( 1.2 NAME ( ) SUP ( ) )"}, {"dITContentRules", "( 1.2 AUX ( ) )"}}},
    {"HugeBound", {{"attributeTypes", "( 1.2 SYNTAX 1.3{99999999999999999999} )"}}},
};

// Edits, see schema_edits.cpp: a choice, a kind and what it takes.
const NamedText edits[] = {
    {"AddType", "00 00 01 02 00 01 01 00 00 01 04"},
    {"Rename", "02 01 06 01 02 00 01 08 00"},
    {"ChangeOid", "02 00 01 01 00 00 01 07 02"},
    {"ChangeRuleId", "02 07 03 01 01 00 01 07 02 06 07 01 00"},
    {"EmptyList", "02 01 06 01 0f 00 01 01 01"},
    {"Delete", "04 00 01 04 00 01"},
    {"Remove", "05 07 03 05 07 03"},
    {"CopyAndChange", "06 05 01 03 03 00 01 00 00 0d 00 01 01 01 17 00 00 00"},
    {"Values", "07 00 04 00 03 01 02 03 00 00 01 02 01 07 02"},
    {"Note", "08 00 00 02 01 02 00 01 00"},
    {"Save", "00 00 01 02 00 01 01 00 00 01 04 fe 00"},
};

} // namespace

Bytes schemaEntry(Descriptions descriptions) {
    Bytes attributes;
    for (const auto &[attribute, description] : descriptions)
        attributes += sequence({octetString(attribute), set({octetString(description)})});
    return tlv(0x64, octetString("cn=schema") + sequence({attributes}));
}

Bytes sampleSchema() {
    return schemaEntry({
        {"attributeTypes", "( 2.5.4.3 NAME ( 'cn' 'commonName' ) SUP name )"},
        {"attributeTypes",
         "( 1.2 NAME 'a' EQUALITY rule SYNTAX 1.3{64} SINGLE-VALUE X-ORIGIN 'one' "
         "USAGE dSAOperation )"},
        {"objectClasses", "( 2.5.6.0 NAME 'top' ABSTRACT MUST cn )"},
        {"objectClasses", "( NAME 'a' SUP top MAY ( cn $ a ) )"},
        {"ldapSyntaxes", "( 1.2 DESC 'a' X-ORIGIN ( 'one' 'a' ) )"},
        {"matchingRules", "( 1.2 NAME 'rule' SYNTAX 1.3 )"},
        {"matchingRuleUse", "( 1.2 NAME 'rule' APPLIES ( cn $ a ) )"},
        {"nameForms", "( 1.2 NAME 'one' OC top MUST cn MAY a )"},
        {"dITContentRules", "( 2.5.6.0 NAME 'one' AUX a MUST cn MAY a NOT cn )"},
        {"dITStructureRules", "( 1 NAME 'one' FORM one )"},
        {"dITStructureRules", "( 2 NAME 'a' FORM one SUP ( '1' '2' ) )"},
    });
}

Bytes modifyResponse() {
    return tlv(0x67, join({tlv(0x0a, Bytes(1, '\0')), octetString(""), octetString("")}));
}

void addSchemas(std::vector<Seed> &all) {
    for (const NamedText &rule : structureRules)
        all.push_back({"structure_rule", rule.name, rule.text});
    all.push_back({"schema_entry", "Sample", sampleSchema()});
    for (const NamedEntry &entry : entries)
        all.push_back({"schema_entry", entry.name, schemaEntry(entry.descriptions)});
    Bytes everything;
    for (const NamedText &edit : edits) {
        all.push_back({"schema_edits", edit.name, fromHex(edit.text)});
        everything += fromHex(edit.text);
    }
    all.push_back({"schema_edits", "Everything", everything});
}

} // namespace qldapx_fuzz
