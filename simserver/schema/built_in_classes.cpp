#include "schema/built_in.h"

namespace stratasim::schema {

// Classes, and what is said about their entries and names.
const std::string_view kBuiltInClasses = R"~(
objectClasses: ( 2.5.6.0 NAME 'top' ABSTRACT MUST objectClass X-ORIGIN 'RFC 4512' )
objectClasses: ( 2.5.6.1 NAME 'alias' SUP top STRUCTURAL MUST aliasedObjectName X-ORIGIN 'RFC
  4512' )
objectClasses: ( 1.3.6.1.4.1.1466.101.120.111 NAME 'extensibleObject' SUP top AUXILIARY X-ORIGIN
  'RFC 4512' )
objectClasses: ( 2.5.17.0 NAME 'subentry' SUP top STRUCTURAL MUST cn X-ORIGIN 'RFC 3672' )
objectClasses: ( 2.5.20.1 NAME 'subschema' AUXILIARY MAY ( dITStructureRules $ nameForms $
  dITContentRules $ objectClasses $ attributeTypes $ matchingRules $ matchingRuleUse $
  ldapSyntaxes ) X-ORIGIN 'RFC 4512' )
objectClasses: ( 2.5.6.2 NAME 'country' SUP top STRUCTURAL MUST c MAY description X-ORIGIN 'RFC
  4519' )
objectClasses: ( 2.5.6.3 NAME 'locality' SUP top STRUCTURAL MAY ( street $ seeAlso $ st $ l $
  description ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.4 NAME 'organization' SUP top STRUCTURAL MUST o MAY ( description $
  seeAlso $ telephoneNumber $ userPassword ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.5 NAME 'organizationalUnit' SUP top STRUCTURAL MUST ou MAY ( description $
  l $ seeAlso $ telephoneNumber $ userPassword ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.6 NAME 'person' SUP top STRUCTURAL MUST ( sn $ cn ) MAY ( userPassword $
  telephoneNumber $ seeAlso $ description ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.7 NAME 'organizationalPerson' SUP person STRUCTURAL MAY ( title $ ou $ l $
  st ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.9 NAME 'groupOfNames' SUP top STRUCTURAL MUST ( member $ cn ) MAY ( owner
  $ description ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.11 NAME 'applicationProcess' SUP top STRUCTURAL MUST cn MAY ( seeAlso $ ou
  $ l $ description ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.5.6.17 NAME 'groupOfUniqueNames' SUP top STRUCTURAL MUST ( uniqueMember $ cn )
  MAY ( owner $ description ) X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.16.840.1.113730.3.2.2 NAME 'inetOrgPerson' SUP organizationalPerson STRUCTURAL
  MAY ( displayName $ employeeNumber $ givenName $ mail $ manager $ uid ) X-ORIGIN 'RFC 2798' )
objectClasses: ( 1.3.6.1.4.1.1466.344 NAME 'dcObject' SUP top AUXILIARY MUST dc X-ORIGIN 'RFC
  4519' )
objectClasses: ( 1.3.6.1.1.3.1 NAME 'uidObject' SUP top AUXILIARY MUST uid X-ORIGIN 'RFC 4519' )
objectClasses: ( 2.16.840.1.113730.3.2.6 NAME 'referral' SUP top STRUCTURAL MUST ref X-ORIGIN
  'RFC 3296' )
objectClasses: ( 2.16.840.1.907341.9.2.1 NAME ( 'strataPerson' 'strataPersonAux' ) DESC 'What a
  Strata site notes of somebody' SUP top AUXILIARY MAY ( strataBadge $ strataKey ) X-ORIGIN
  'Strata' )
objectClasses: ( 2.16.840.1.907341.9.2.2 NAME 'strataServer' SUP applicationProcess STRUCTURAL
  MUST strataKey MAY serialNumber X-ORIGIN 'Strata' X-STRATA-CONTAINMENT ( 'organizationalUnit'
  'organization' ) )
objectClasses: ( 2.16.840.1.907341.9.2.3 NAME 'strataPrinter' DESC 'Is an applicationProcess
  today' OBSOLETE SUP top STRUCTURAL MUST ( cn $ serialNumber ) MAY ( c-strataFloor $ strataPager
  ) X-ORIGIN 'Strata' )
matchingRuleUse: ( 2.5.13.14 NAME 'integerUse' APPLIES ( uidNumber $ gidNumber ) X-ORIGIN
  'Strata' )
matchingRuleUse: ( 2.5.13.20 APPLIES ( telephoneNumber $ strataPager ) )
matchingRuleUse: ( 2.5.13.5 DESC 'For extensible filters' APPLIES ( cn $ sn $ strataBadge ) )
matchingRuleUse: ( 2.5.13.2 DESC 'For extensible filters' APPLIES ( cn $ sn $ givenName $
  description $ 2.5.4.12 ) )
nameForms: ( 2.16.840.1.907341.9.3.1 NAME 'strataOrganizationForm' OC organization MUST o
  X-ORIGIN 'Strata' )
nameForms: ( 2.16.840.1.907341.9.3.2 NAME 'strataUnitForm' OC organizationalUnit MUST ou X-ORIGIN
  'Strata' )
nameForms: ( 2.16.840.1.907341.9.3.3 NAME 'strataPersonForm' DESC 'People go by uid' OC
  inetOrgPerson MUST uid MAY cn X-ORIGIN 'Strata' )
dITContentRules: ( 2.16.840.1.113730.3.2.2 NAME 'strataPersonContent' DESC 'What people may be
  besides' AUX ( strataPerson $ uidObject ) MAY ( uidNumber $ gidNumber ) NOT ( street $
  postOfficeBox ) X-ORIGIN 'Strata' )
dITStructureRules: ( 1 NAME 'strataOrganizationRule' FORM strataOrganizationForm )
dITStructureRules: ( 2 NAME 'strataUnitRule' FORM strataUnitForm SUP ( 1 2 ) )
dITStructureRules: ( 3 NAME 'strataPersonRule' DESC 'People live in units' FORM strataPersonForm
  SUP 2 )
)~";

} // namespace stratasim::schema
