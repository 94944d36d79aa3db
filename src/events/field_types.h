// field_types.h - the types that fields of event records have.
#pragma once

#include "events/record.h"

namespace qldapx::events {

extern const FieldType integer;          // INTEGER
extern const FieldType string;           // OCTET STRING
extern const FieldType sequence;         // list of strings, absent only at the value's end
extern const FieldType sequence0;        // the same under 0x80, optional
extern const FieldType sequence1;        // the same under 0x81, optional
extern const FieldType connection;       // ConnectionInfo
extern const FieldType referrals;        // list of referrals
extern const FieldType count;            // no element: the length of what a field points to
extern const FieldType structure;        // no field: the header of a SEQUENCE
extern const FieldType untestedString;   // OCTET STRING whose absence is no failure
extern const FieldType finalString;      // OCTET STRING, or an element of another type
extern const FieldType string5;          // OCTET STRING under 0x85
extern const FieldType optionalBytes;    // OCTET STRING of any bytes, optional
extern const FieldType optionalInteger;  // INTEGER, optional
extern const FieldType optionalNumbers;  // INTEGERs under 0x86, optional
extern const FieldType optionalStrings;  // OCTET STRINGs under 0xA7, optional
extern const FieldType requiredText;     // OCTET STRING of 1 to field.count - 1 bytes, inline
extern const FieldType text;             // OCTET STRING of at most field.count - 1 bytes, inline
extern const FieldType address;          // OCTET STRING of any bytes
extern const FieldType parameterTag;     // no field: the tag that goes with a parameter's type
extern const FieldType parameterInteger; // value of a parameter of an integer type
extern const FieldType parameterText;    // value of a parameter of text type
extern const FieldType parameterString;  // value of a parameter of string type
extern const FieldType debugItems;       // list of debug items
extern const FieldType
    inlineAddress; // no element: NetAddrEventData has a length and reader of its own

} // namespace qldapx::events
