#include "jobs.h"
#include "owners.h"

#include <array>
#include <cstring>
#include <qldapx/md5.h>
#include <qldapx/schema_element.h>

namespace soak {
namespace {

using Digest = std::array<unsigned char, 16>;

constexpr Digest ofAbc = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                          0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};

void digestInParts(Hand &hand) {
    QldapxMD5Context context;
    Digest digest{};
    MD5Init(&context);
    MD5Update(&context, "a", 1);
    MD5Update(&context, "bc", 2);
    MD5Final(digest.data(), &context);
    hand.verify(digest == ofAbc, "MD5 of abc is wrong");
}

void drawRandom(Hand &hand) {
    Digest first{}, second{};
    const std::string chance = hand.bytes(32);
    XRAND_add(chance.data(), 32, 32);
    hand.expect("XRAND_bytes", XRAND_bytes(first.data(), first.size()));
    hand.expect("XRAND_bytes", XRAND_bytes(second.data(), second.size()));
    hand.verify(first != second && XRAND_status() == 1, "the random pool gives the same again");
}

void copyStrings(Hand &hand) {
    char first[] = "first", second[] = "second";
    char *both[] = {first, second, nullptr};
    const StringsPtr copy(str_array_dup(both));
    hand.verify(std::strcmp(copy.get()[1], second) == 0, "a copy differs");
}

void describeRule(Hand &hand) {
    constexpr const char *text = "( 7 NAME 'soakRule' FORM soakForm )";
    int code = -1;
    const char *at = nullptr;
    LDAPDITStructureRule *rule = ldap_str2ditstructurerule(text, &code, &at, 0);
    hand.expect("ldap_str2ditstructurerule", code);
    const LdapTextPtr again(ldap_ditstructurerule2str(rule));
    ldap_ditstructurerule_free(rule);
    hand.verify(std::strcmp(again.get(), text) == 0, "a structure rule differs");
}

} // namespace

void useLocally(Hand &hand) {
    digestInParts(hand);
    drawRandom(hand);
    copyStrings(hand);
    describeRule(hand);
}

} // namespace soak
