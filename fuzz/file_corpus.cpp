// The seeds of the tool's files and texts.
#include "corpus.h"

#include <iterator>

namespace qldapx_fuzz {

namespace {

using qldapx_test::fromHex;

// Up to the checksum, which the target adds.
const Bytes backupStart = fromHex("89 51 4c 42 0d 0a 1a 0a 00 00 00 01 00 00 00 00 67 40 00 00"
                                  "00 00 00 04 63 6e 3d 78 00 00 00 07") +
                          "ldap://";
const Bytes piece = fromHex("50 00 00 00 04 00 00 00 03") + "1;3;abc";
const Bytes backupEnd = fromHex("45 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 03");

const char *const entry =
    "version: 1\n\n# a comment\n continued\ndn: cn=a,o=b\nobjectClass: person\n"
    "cn: a\nsn:: YWJj\n";

const Seed files[] = {
    {"tool_backup", "Piece", backupStart + piece + backupEnd},
    {"tool_backup", "NoPiece", backupStart + backupEnd},
    {"tool_backup", "PieceCut", backupStart + fromHex("50 00 00 00 04 7f ff ff ff") + "1;3;abc"},
    {"tool_backup", "HugeText", backupStart.substr(0, 20) + fromHex("ff ff ff ff 61")},
    {"tool_ldif", "Entry", entry},
    {"tool_ldif", "Changes",
     "dn: cn=a\nchangetype: modify\nreplace: cn\ncn: b\n-\nadd: sn\nsn: c\n-\n\n"
     "dn: cn=a\nchangetype: delete\n\ndn:: Y249YQ==\nchangetype: modrdn\nnewrdn: cn=c\n"
     "deleteoldrdn: 1\nnewsuperior: o=d\n"},
    {"tool_ldif", "Controls",
     "dn: cn=a\ncontrol: 1.2.3 true: value\ncontrol: 1.2.4\nchangetype: add\ncn: a\n"},
    {"tool_ldif", "Folded", "dn: cn=a\n ,o=\n b\ncn: a\r\n b\r\n"},
    {"tool_ldif", "File", "dn: cn=a\ncn:< file:///dev/null\n"},
    {"tool_ldif", "Include", "include: file:///dev/zero\n"},
    {"tool_ldif", "Nul", Bytes("dn: cn=a\ncn: \0\n", 15)},
    {"tool_ldif", "Compressed",
     fromHex("1f 8b 08 00 00 00 00 00 00 03 4b c9 b3 52 48 ce b3 4d e4 4a 06 51 89 5c 00 d3 56"
             "91 13 0f 00 00 00")},
    {"tool_ldif", "NotCompressed", fromHex("1f 8b 08 00")},
    {"tool_checkpoint", "State",
     "[\n{\"version\":1,\"file\":\"f\",\"server\":\"ldap://\",\"bindDN\":\"\",\"serial\":1,"
     "\"mode\":\"bulk\",\"settled\":{\"record\":0,\"checksum\":0},\"sent\":{\"record\":0,"
     "\"checksum\":0},\"counts\":{\"add\":{\"done\":0,\"failed\":0,\"unknown\":0},\"delete\":{"
     "\"done\":0,\"failed\":0,\"unknown\":0},\"modify\":{\"done\":0,\"failed\":0,\"unknown\":0},"
     "\"rename\":{\"done\":0,\"failed\":0,\"unknown\":0},\"malformed\":0,\"results\":[[68,1]]},"
     "\"check\":\"00000000\"}\n]\n"},
    {"tool_checkpoint", "Deep", "\n{\"a\":" + Bytes(300, '[')},
    {"tool_filter", "Two", "A$x$y$$B$z$$$"},
    {"tool_filter", "Class", "A=x,y"},
    {"tool_filter", "More", "A$$$B"},
    {"tool_schema", "Ldif",
     "dn: cn=schema\nattributeTypes: ( 1.2.3 NAME 'a' SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
     "objectClasses:: KCAxLjIuNCBOQU1FICdiJyApCg==\nattributeTypes: ( 1.2.5\n  NAME 'c' )\n"},
    {"tool_schema", "Configuration",
     "# comment\nobjectIdentifier my 1.2.3\nobjectIdentifier mine my:4\n"
     "attributeType ( mine:5\n\tNAME ( 'a' 'b' )\n\tSYNTAX mine:6{32} )\n\n"
     "objectClass ( my:7 NAME 'c' SUP top )\n"},
    {"tool_schema", "Json",
     "{\"attributeTypes\":[{\"description\":\"( 1.2.3 NAME 'a' )\"}],\"objectClasses\":[]}"},
    {"tool_schema", "JsonLines", "{\"kind\":\"attribute\",\"description\":\"( 1.2.3 )\"}\n{}"},
    {"tool_schema", "MacroOfItself", "objectIdentifier a a:1\nobjectIdentifier b a:\n"},
};

} // namespace

void addFiles(std::vector<Seed> &all) {
    all.insert(all.end(), std::begin(files), std::end(files));
}

} // namespace qldapx_fuzz
