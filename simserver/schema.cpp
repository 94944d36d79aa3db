#include "schema.h"

#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace stratasim::schema {
namespace {

enum Trait : unsigned { kNone = 0, kSingle = 1, kOperational = 2, kReadOnly = 6 };

struct AttributeType {
    std::string_view oid;
    std::string_view names; // the first one is the primary name
    Rule rule;
    unsigned traits;
};

constexpr AttributeType kTypes[] = {
    {"2.5.4.0", "objectClass", Rule::CaseIgnore, kNone},
    {"2.5.4.3", "cn commonName", Rule::CaseIgnore, kNone},
    {"2.5.4.4", "sn surname", Rule::CaseIgnore, kNone},
    {"2.5.4.5", "serialNumber", Rule::CaseIgnore, kNone},
    {"2.5.4.6", "c countryName", Rule::CaseIgnore, kSingle},
    {"2.5.4.7", "l localityName", Rule::CaseIgnore, kNone},
    {"2.5.4.8", "st stateOrProvinceName", Rule::CaseIgnore, kNone},
    {"2.5.4.10", "o organizationName", Rule::CaseIgnore, kNone},
    {"2.5.4.11", "ou organizationalUnitName", Rule::CaseIgnore, kNone},
    {"2.5.4.12", "title", Rule::CaseIgnore, kNone},
    {"2.5.4.13", "description", Rule::CaseIgnore, kNone},
    {"2.5.4.20", "telephoneNumber", Rule::Telephone, kNone},
    {"2.5.4.31", "member", Rule::Dn, kNone},
    {"2.5.4.32", "owner", Rule::Dn, kNone},
    {"2.5.4.34", "seeAlso", Rule::Dn, kNone},
    {"2.5.4.35", "userPassword", Rule::Exact, kNone},
    {"2.5.4.41", "name", Rule::CaseIgnore, kNone},
    {"2.5.4.42", "givenName gn", Rule::CaseIgnore, kNone},
    {"2.5.4.50", "uniqueMember", Rule::Dn, kNone},
    {"0.9.2342.19200300.100.1.1", "uid userid", Rule::CaseIgnore, kNone},
    {"0.9.2342.19200300.100.1.3", "mail rfc822Mailbox", Rule::CaseIgnore, kNone},
    {"0.9.2342.19200300.100.1.10", "manager", Rule::Dn, kNone},
    {"0.9.2342.19200300.100.1.25", "dc domainComponent", Rule::CaseIgnore, kSingle},
    {"2.16.840.1.113730.3.1.3", "employeeNumber", Rule::CaseIgnore, kSingle},
    {"2.16.840.1.113730.3.1.241", "displayName", Rule::CaseIgnore, kSingle},
    {"1.3.6.1.1.1.1.0", "uidNumber", Rule::Integer, kSingle},
    {"1.3.6.1.1.1.1.1", "gidNumber", Rule::Integer, kSingle},
    {"2.5.18.1", "createTimestamp", Rule::CaseIgnore, kSingle | kReadOnly},
    {"2.5.18.2", "modifyTimestamp", Rule::CaseIgnore, kSingle | kReadOnly},
    {"2.5.18.3", "creatorsName", Rule::Dn, kSingle | kReadOnly},
    {"2.5.18.4", "modifiersName", Rule::Dn, kSingle | kReadOnly},
    {"2.5.18.9", "hasSubordinates", Rule::CaseIgnore, kSingle | kReadOnly},
    {"2.5.18.10", "subschemaSubentry", Rule::Dn, kSingle | kReadOnly},
    {"1.3.6.1.1.16.4", "entryUUID", Rule::CaseIgnore, kSingle | kReadOnly},
    {"1.3.6.1.1.20", "entryDN", Rule::Dn, kSingle | kReadOnly},
    {"1.3.6.1.4.1.453.16.2.103", "numSubordinates", Rule::Integer, kSingle | kReadOnly},
    {"1.3.6.1.4.1.1466.101.120.5", "namingContexts", Rule::Dn, kOperational},
    {"1.3.6.1.4.1.1466.101.120.7", "supportedExtension", Rule::Exact, kOperational},
    {"1.3.6.1.4.1.1466.101.120.13", "supportedControl", Rule::Exact, kOperational},
    {"1.3.6.1.4.1.4203.1.3.5", "supportedFeatures", Rule::Exact, kOperational},
    {"1.3.6.1.4.1.1466.101.120.15", "supportedLDAPVersion", Rule::Integer, kOperational},
    {"1.3.6.1.1.4", "vendorName", Rule::Exact, kSingle | kReadOnly},
    {"1.3.6.1.1.5", "vendorVersion", Rule::Exact, kSingle | kReadOnly},
    {"2.5.21.5", "attributeTypes", Rule::CaseIgnore, kOperational},
    {"2.5.21.6", "objectClasses", Rule::CaseIgnore, kOperational},
};

constexpr std::string_view kObjectClasses[] = {
    "( 2.5.6.0 NAME 'top' ABSTRACT MUST objectClass )",
    "( 2.5.6.4 NAME 'organization' SUP top STRUCTURAL MUST o MAY ( description $ seeAlso $ "
    "telephoneNumber $ userPassword ) )",
    "( 2.5.6.5 NAME 'organizationalUnit' SUP top STRUCTURAL MUST ou MAY ( description $ l $ "
    "seeAlso $ telephoneNumber $ userPassword ) )",
    "( 2.5.6.6 NAME 'person' SUP top STRUCTURAL MUST ( sn $ cn ) MAY ( userPassword $ "
    "telephoneNumber $ seeAlso $ description ) )",
    "( 2.5.6.7 NAME 'organizationalPerson' SUP person STRUCTURAL MAY ( title $ ou $ l $ st ) )",
    "( 2.5.6.9 NAME 'groupOfNames' SUP top STRUCTURAL MUST ( member $ cn ) MAY ( owner $ "
    "description ) )",
    "( 2.5.6.11 NAME 'applicationProcess' SUP top STRUCTURAL MUST cn MAY ( seeAlso $ ou $ l $ "
    "description ) )",
    "( 2.16.840.1.113730.3.2.2 NAME 'inetOrgPerson' SUP organizationalPerson STRUCTURAL MAY ( "
    "displayName $ employeeNumber $ givenName $ mail $ manager $ uid ) )",
    "( 1.3.6.1.4.1.1466.344 NAME 'dcObject' SUP top AUXILIARY MUST dc )",
};

const std::unordered_map<std::string, const AttributeType *> &index() {
    static const auto map = [] {
        std::unordered_map<std::string, const AttributeType *> types;
        for (const AttributeType &type : kTypes) {
            types.emplace(type.oid, &type);
            for (const std::string_view name : splitAt(type.names, ' '))
                types.emplace(lowerCase(name), &type);
        }
        return types;
    }();
    return map;
}

std::string_view primaryName(const AttributeType &type) {
    return type.names.substr(0, type.names.find(' '));
}

const AttributeType *find(std::string_view key) {
    const auto found = index().find(std::string(key.substr(0, key.find(';'))));
    return found == index().end() ? nullptr : found->second;
}

bool hasTraits(std::string_view key, unsigned traits) {
    const AttributeType *type = find(key);
    return type != nullptr && (type->traits & traits) == traits;
}

bool isDescription(std::string_view text) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ';';
    };
    return !text.empty() && text.front() != '-' && text.front() != ';' && text.front() != '.' &&
           std::all_of(text.begin(), text.end(), allowed);
}

std::string_view equalityRuleName(Rule rule) {
    switch (rule) {
    case Rule::Exact:
        return "caseExactMatch";
    case Rule::Telephone:
        return "telephoneNumberMatch";
    case Rule::Integer:
        return "integerMatch";
    case Rule::Dn:
        return "distinguishedNameMatch";
    case Rule::CaseIgnore:
        break;
    }
    return "caseIgnoreMatch";
}

std::string_view syntaxOf(Rule rule) {
    switch (rule) {
    case Rule::Telephone:
        return "1.3.6.1.4.1.1466.115.121.1.50";
    case Rule::Integer:
        return "1.3.6.1.4.1.1466.115.121.1.27";
    case Rule::Dn:
        return "1.3.6.1.4.1.1466.115.121.1.12";
    case Rule::Exact:
    case Rule::CaseIgnore:
        break;
    }
    return "1.3.6.1.4.1.1466.115.121.1.15";
}

std::string namesOf(const AttributeType &type) {
    const auto names = splitAt(type.names, ' ');
    if (names.size() == 1)
        return fmt::format("'{}'", names[0]);
    std::string list = "(";
    for (const std::string_view name : names)
        list += fmt::format(" '{}'", name);
    return list + " )";
}

std::string describe(const AttributeType &type) {
    std::string text = fmt::format("( {} NAME {} EQUALITY {} SYNTAX {}", type.oid, namesOf(type),
                                   equalityRuleName(type.rule), syntaxOf(type.rule));
    if ((type.traits & kSingle) != 0)
        text += " SINGLE-VALUE";
    if ((type.traits & kReadOnly) == kReadOnly)
        text += " NO-USER-MODIFICATION";
    if ((type.traits & kOperational) != 0)
        text += " USAGE directoryOperation";
    return text + " )";
}

} // namespace

std::string keyOf(std::string_view description) {
    std::string key = lowerCase(description);
    if (!isDescription(key))
        return {};
    if (const AttributeType *type = find(key))
        key.replace(0, std::min(key.find(';'), key.size()), lowerCase(primaryName(*type)));
    return key;
}

bool isSubtype(std::string_view key, std::string_view wanted) {
    return key.starts_with(wanted) && (key.size() == wanted.size() || key[wanted.size()] == ';');
}

Rule ruleOf(std::string_view key) {
    const AttributeType *type = find(key);
    return type == nullptr ? Rule::CaseIgnore : type->rule;
}

bool isOperational(std::string_view key) {
    return hasTraits(key, kOperational);
}
bool isReadOnly(std::string_view key) {
    return hasTraits(key, kReadOnly);
}
bool isSingleValued(std::string_view key) {
    return hasTraits(key, kSingle);
}

std::vector<std::string> attributeTypes() {
    std::vector<std::string> all;
    for (const AttributeType &type : kTypes)
        all.push_back(describe(type));
    return all;
}

std::vector<std::string> objectClasses() {
    return {std::begin(kObjectClasses), std::end(kObjectClasses)};
}

} // namespace stratasim::schema
