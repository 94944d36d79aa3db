// The seeds of DIGEST-MD5: challenges, lists and proofs with every fault, and whole binds.
#include "corpus.h"
#include "sasl/proof.h"
#include "support/ldap_message.h"

#include <iterator>

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;

struct Text {
    const char *name;
    Bytes bytes;
};

const Bytes rest = ",nonce=n,qop=auth,algorithm=md5-sess";

const Text challenges[] = {
    {"Usual", R"(realm="a.example",nonce="OA6MG9tEQGm2hh",qop="auth",charset=utf-8,)"
              "algorithm=md5-sess"},
    {"Everything", R"(realm="a",realm="b",nonce="x\"y\\z",qop="auth,auth-int,auth-conf",)"
                   R"(cipher="3des,des,rc4-40,rc4,rc4-56",maxbuf=65536,charset=utf-8,)"
                   "algorithm=md5-sess,other=value"},
    {"Stale", "stale=true,realm=r" + rest},
    {"Spaced", "\r\n realm\t= \"r\" ,\tnonce = n , qop = auth , algorithm = md5-sess "},
    {"NoRealm", rest.substr(1)},
    {"EmptyRealm", "realm=\"\"" + rest},
    {"Twice", "nonce=m,realm=r" + rest},
    {"LastCipher", "realm=r,qop=\"auth-conf,auth\",cipher=3des,nonce=n,algorithm=md5-sess"},
    {"NoAuth", "qop=auth-int,nonce=n,algorithm=md5-sess"},
    {"BadToken", "qop=\"auth,@\",nonce=n,algorithm=md5-sess"},
    {"TokenWithoutComma", "qop=\"auth auth-int\",nonce=n,algorithm=md5-sess"},
    {"TrailingComma", "realm=r,qop=\"auth,\"" + rest},
    {"NoNumber", "maxbuf=abc" + rest},
    {"HugeNumber", "realm=r,maxbuf=99999999999999999999" + rest},
    {"OtherCharset", "charset=UTF-8" + rest},
    {"OtherAlgorithm", "realm=r,algorithm=md5,qop=auth"},
    {"NotStale", "stale=false" + rest},
    {"Prefixes", R"(realm=r,qop="a,x",cipher="r,d",stale="")" + rest.substr(0, 8)},
    {"EscapesAtTheEnd", R"(realm="r\\\"",nonce="\n\o\n",qop="\auth",algorithm="md5\-sess")"},
    {"NulInValues", Bytes("realm=\"r\0s\",nonce=\"n\0\"", 22) + rest.substr(8)},
    {"LongNonce", "realm=r,nonce=" + Bytes(4000, 'n') + rest.substr(8)},
};

const Text lists[] = {
    {"BadName", "a@=b"},
    {"NoEquals", "a b"},
    {"BadValue", "a=,b=c"},
    {"BadValueToken", "a=b@"},
    {"NoComma", R"(a="b" c=d)"},
    {"TrailingComma", "a=b,"},
    {"NoValue", "a="},
    {"OpenQuote", R"(a="b\")"},
    {"LeadingComma", ",a=b"},
    {"White", " \t\r\n"},
    {"HighBytes", "\xff=\x80\xfe"},
    {"QuoteInToken", R"(a=b"c)"},
};

const Text tokens[] = {
    {"One", "auth"},           {"Many", "auth,auth-int , auth-conf"},
    {"White", " a\tb"},        {"Bad", "a,@b,c"},
    {"BadInside", "a@b"},      {"Trailing", "a, "},
    {"Commas", "a,,b"},        {"TrailingWhite", "a "},
    {"Nul", Bytes("a\0b", 3)},
};

const Text proofs[] = {
    {"Right", "rspauth=0123456789abcdef0123456789abcdef"},
    {"Quoted", R"(rspauth = "a\"b" , other=c)"},
    {"Second", "other=a,rspauth=b"},
    {"UpperCase", "RSPAUTH=a"},
    {"Longer", "rspauthx=a"},
    {"Shorter", "rspaut=a"},
};

Bytes bind(char bits, char code, const Bytes &first, const Bytes &second) {
    const Bytes header = {bits, code, static_cast<char>(first.size() >> 8),
                          static_cast<char>(first.size())};
    return header + first + second;
}

const Bytes usual = challenges[0].bytes, proof = proofs[0].bytes;
const Bytes inProgress = bindResponse(14, usual), success = bindResponse(0, proof);

// With it a response is as long as it may be: 3600 bytes of the name, 214 of the rest.
const Bytes longNonce(4095 - 3600 - 214, 'n');

const Text binds[] = {
    {"WrongProof", bind(0, 0, usual, proof)},
    {"Refused", bind(0, 49, usual, "")},
    {"NoProof", bind(0, 0, usual, "")},
    {"ProofOfAnother", bind(0, 0, usual, "other=a")},
    {"InProgressAgain", bind(0, 14, usual, usual)},
    {"Abandoned", bind(4, 0, usual, proof)},
    {"SecondRealm", bind(8, 0, challenges[1].bytes, proof)},
    {"NoSecondRealm", bind(8, 0, usual, proof)},
    {"LongName", bind(16, 0, usual, proof)},
    {"TooLong", bind(16, 0, "realm=r,nonce=" + Bytes(400, 'n') + rest.substr(8), proof)},
    {"Longest", bind(16, 0, "realm=r,nonce=" + longNonce + rest.substr(8), proof)},
    {"OneTooLong", bind(16, 0, "realm=r,nonce=n" + longNonce + rest.substr(8), proof)},
    {"Operations", bind(3, 0, inProgress, success)},
    {"SuccessAtOnce", bind(3, 0, bindResponse(0, std::nullopt), success)},
    {"NoCredentials", bind(3, 0, bindResponse(14, std::nullopt), success)},
    {"SecondWithoutCredentials", bind(2, 0, usual, bindResponse(0, std::nullopt))},
    {"OtherOperations", bind(3, 0, searchDone(0), searchEntry("cn=x"))},
    {"SecondCut", bind(2, 0, usual, success.substr(0, 5))},
    {"NoSecond", bind(2, 0, usual, "")},
    {"Referral", bind(3, 0, inProgress,
                      tlv(0x61, join({tlv(0x0a, "\x0a"), octetString(""), octetString(""),
                                      tlv(0xa3, octetString("ldap://other.example"))})))},
};

} // namespace

void addDigests(std::vector<Seed> &all) {
    for (const Text &text : challenges) {
        all.push_back({"digest_challenge", text.name, text.bytes});
        all.push_back(
            {"digest_bind", std::string("Challenge") + text.name, bind(0, 0, text.bytes, proof)});
    }
    for (const Text &text : lists) {
        all.push_back({"digest_challenge", std::string("List") + text.name, text.bytes});
        all.push_back({"digest_proof", std::string("List") + text.name, text.bytes});
    }
    for (const Text &text : tokens)
        all.push_back({"token_list", text.name, text.bytes});
    for (const Text &text : proofs)
        all.push_back({"digest_proof", text.name, text.bytes});
    for (const Text &text : binds)
        all.push_back({"digest_bind", text.name, text.bytes});
}

} // namespace qldapx_fuzz
