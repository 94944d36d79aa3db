// The seeds of answers, of controls and of the texts that requests are made of.
#include "corpus.h"
#include "extops/operations.h"
#include "schema_samples.h"
#include "support/ldap_message.h"

#include <algorithm>

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;

Bytes i(std::int64_t number) {
    return integer(number);
}
Bytes s(const Bytes &text) {
    return octetString(text);
}
Bytes piece(int length, const Bytes &image, const Bytes &sizes) {
    return join({i(length), i(5), i(7), s(image), sizes});
}
Bytes sizes(int count, std::initializer_list<Bytes> list) {
    return sequence({i(count), set(list)});
}

const Bytes change = Bytes(1, '\0'), reference = Bytes(1, '\1'), status = Bytes(1, '\2');
const Bytes texts = tlv(0x81, "one") + tlv(0x83, "three");

const Seed seedRows[] = {
    {"backup_answer", "Piece", piece(3, "abc", sizes(2, {sequence({i(1)}), sequence({i(2)})}))},
    {"backup_answer", "NoSizes", piece(3, "abc", sizes(0, {}))},
    {"backup_answer", "Shorter", piece(2, "abc", sizes(1, {sequence({i(2)})}))},
    {"backup_answer", "TooLong", piece(4, "abc", sizes(1, {sequence({i(4)})}))},
    {"backup_answer", "NegativeLength", piece(-1, "abc", sizes(1, {sequence({i(4)})}))},
    {"backup_answer", "NegativeCount", piece(3, "abc", sizes(-1, {}))},
    {"backup_answer", "CountTooLarge", piece(3, "abc", sizes(0x7fffffff, {sequence({i(3)})}))},
    {"backup_answer", "CountTooSmall",
     piece(3, "abc", sizes(1, {sequence({i(1)}), sequence({i(2)})}))},
    {"backup_answer", "OtherTag",
     join({i(3), i(5), i(7), tlv(0x87, "abc"), sizes(1, {sequence({i(3)})})})},
    {"backup_texts", "StateAndSizes", "5+7\n2;1;2;"},
    {"backup_texts", "NoSecond", "5\n;;1"},
    {"backup_texts", "Signs", "-5+-7\n-1;+2;0x3"},
    {"backup_texts", "TooLarge", "99999999999999999999+1\n99999999999999999999"},
    {"control_value", "Change",
     change + sequence({tlv(0x0a, "\x08"), s("cn=old"), tlv(0x80, "\x05")})},
    {"control_value", "ChangeAlone", change + sequence({tlv(0x0a, "\x01")})},
    {"control_value", "ChangeCut", change + fromHex("30 7f 0a 01 01")},
    {"control_value", "Reference", reference + tlv(0x31, texts + tlv(0x86, "six"))},
    {"control_value", "ReferenceList",
     reference + set({tlv(0x85, sequence({s("five"), s("")})), tlv(0x82, "\x02")})},
    {"control_value", "ReferenceTwice", reference + set({tlv(0x86, "a"), tlv(0x86, "b")})},
    {"control_value", "Status", status + fromHex("30 0d 80 01 01 81 01 02 82 01 03 83 02 01 00")},
    {"control_value", "StatusGap", status + fromHex("30 06 80 01 ff 83 01 00")},
    {"returned_buffer", "Two", s("abc") + tlv(0x87, "")},
    {"returned_buffer", "Cut", s("abc") + fromHex("04 05 61")},
    {"returned_buffer", "LongLength", longTlv(0x30, s("abc"), 4)},
    {"replication_filter", "Two", "A$x$y$$B$z$$$"},
    {"replication_filter", "None", "$"},
    {"replication_filter", "NoAttributes", "A$$$"},
    {"replication_filter", "Cut", "A$x$y"},
    {"replication_filter", "More", "A$$$B$$"},
    {"replication_filter", "EmptyNames", "A$x$$$$"},
    {"url_search", "Whole", "ldap://h.example:389/cn=a,o=b?cn,sn?sub?(cn=x*)?ext"},
    {"url_search", "Ipv6", "ldaps://[::1]:636/o=b??one?(&(cn=x)(!(sn>=y)))"},
    {"url_search", "Escapes",
     "ldap:///cn=%41%2c?%63n?"
     "?(cn=%28)"},
    {"url_search", "BadEscape", "ldap:///cn=%4"},
    {"url_search", "Nul", "ldap:///cn=%00"},
    {"url_search", "Critical",
     "ldap:///o=b???"
     "?!ext=1,other"},
    {"url_search", "Enclosed", "<URL:ldap://h/o=b>"},
    {"url_search", "Socket", "ldapi://%2frun%2fldapi/o=b"},
    {"url_search", "BadFilter", "ldap:///o=b??sub?(cn=*"},
    {"schema_dn", "Name", schemaEntry({{"subschemaSubentry", "cn=schema"}})},
    {"schema_dn", "Empty", schemaEntry({{"subschemaSubentry", ""}})},
    {"schema_dn", "NoAttribute", searchEntry("")},
    {"schema_dn", "Done", searchDone(32)},
};

// A value and an answer of every operation that decodes one, and an answer of one that does not.
void addOperations(std::vector<Seed> &all) {
    char number = 0;
    for (const OperationCase &operation : allOperations()) {
        const Bytes first(1, number++);
        if (operation.decodes())
            all.push_back(
                {"extended_value", operation.name, first + fromHex(operation.responseValue)});
        all.push_back({"extended_answer", operation.name, first + operation.response()});
    }
    all.push_back({"extended_answer", "Refused", Bytes(1, 6) + extendedResponse(53, "1.2.3", "")});
    all.push_back(
        {"extended_answer", "NoName", Bytes(1, 6) + extendedResponse(0, std::nullopt, i(5))});
    all.push_back({"extended_answer", "OtherOperation", Bytes(1, 6) + searchDone(0)});
}

} // namespace

void addAnswers(std::vector<Seed> &all) {
    all.insert(all.end(), std::begin(seedRows), std::end(seedRows));
    addOperations(all);
}

} // namespace qldapx_fuzz
