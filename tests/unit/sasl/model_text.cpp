#include "sasl/model_text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>

namespace qldapx_test::digest_model {

namespace {

using Words = std::vector<std::string>;

const Words names = {"realm",  "nonce", "qop",     "maxbuf", "charset", "algorithm",
                     "cipher", "stale", "rspauth", "Nonce",  "n\xff\"/"};

const std::map<std::string, Words> usualValues = {
    {"maxbuf",
     {"65536", "0", "abc", "4294967296", "4294967295", "99999999999999999999", "-1", "+7", "16x",
      "-9223372036854775809", "00000000000000000000000000000001", "2147483648"}},
    {"charset", {"utf-8", "UTF-8", "utf-88", "utf"}},
    {"algorithm", {"md5-sess", "MD5-sess", "md5", "md5-sess-"}},
    {"stale", {"true", "t", "tr", "false", "TRUE", "truer"}},
};

const Words keywords = {"auth", "auth-int", "auth-conf", "3des", "des",       "rc4-40",
                        "rc4",  "rc4-56",   "a",         "au",   "auth-",     "d",
                        "rc",   "rc4-",     "rc4-5",     "r",    "auth-intx", "x"};

std::string blanks(Random &random) {
    std::string text;
    while (random.oneIn(4))
        text += "\t\n\r "[random.below(4)];
    return text;
}

std::string quoted(Random &random, const std::string &text) {
    std::string value = "\"";
    for (char c : text) {
        if (c == '"' || random.oneIn(12))
            value += '\\';
        value += c;
    }
    return value + '"';
}

std::string randomWord(Random &random, const std::string &characters) {
    std::string word;
    do
        word += characters[random.below(characters.size())];
    while (!random.oneIn(6));
    return word;
}

std::string join(Random &random, const Words &parts) {
    std::string text;
    for (const std::string &part : parts) {
        if (!text.empty())
            text += blanks(random) + "," + blanks(random);
        text += part;
    }
    return blanks(random) + text + blanks(random);
}

std::string directive(Random &random, const std::string &name) {
    return name + blanks(random) + "=" + blanks(random) + randomValue(random, name);
}

void damage(Random &random, std::string &text) {
    const std::size_t at = random.below(text.size() + 1);
    switch (random.below(5)) {
    case 0:
        text.resize(at);
        break;
    case 1:
        text.insert(at, 1, random.byte());
        break;
    case 2:
        text.erase(at, 1 + random.below(3));
        break;
    case 3:
        text.insert(at, text.substr(random.below(text.size() + 1), random.below(12)));
        break;
    default:
        if (at < text.size())
            std::swap(text[at], text[random.below(text.size())]);
    }
}

} // namespace

char Random::byte() {
    static constexpr std::string_view telling("=,\"\\ \t\0\xff@a1-", 13);
    return oneIn(3) ? static_cast<char>(below(256)) : telling[below(telling.size())];
}

void everyText(std::string_view alphabet, std::size_t longest, const Visit &visit) {
    std::size_t count = 1;
    for (std::size_t length = 0; length <= longest; ++length, count *= alphabet.size())
        for (std::size_t number = 0; number < count; ++number) {
            std::string text;
            for (std::size_t left = number; text.size() < length; left /= alphabet.size())
                text += alphabet[left % alphabet.size()];
            if (!visit(text))
                return;
        }
}

void everyByteOf(std::string text, const Visit &visit) {
    for (char &place : text) {
        const char before = place;
        for (int byte = 0; byte < 256; ++byte) {
            place = static_cast<char>(byte);
            if (!visit(text))
                return;
        }
        place = before;
    }
}

std::string randomTokens(Random &random) {
    Words tokens;
    do
        tokens.push_back(random.of(keywords));
    while (!random.oneIn(3));
    return join(random, tokens);
}

std::string randomValue(Random &random, const std::string &name) {
    const bool isList = name == "qop" || name == "cipher";
    const auto usual = usualValues.find(name);
    if (usual != usualValues.end() && !random.oneIn(8))
        return random.oneIn(2) ? random.of(usual->second)
                               : quoted(random, random.of(usual->second));
    if (isList && random.oneIn(3))
        return random.of(keywords);
    if (isList && !random.oneIn(8))
        return quoted(random, randomTokens(random));
    if (random.oneIn(2))
        return randomWord(random, "abc\"/\xc3\xa4-0");
    return random.oneIn(8) ? "\"\""
                           : quoted(random, randomWord(random, {"abc ,=@\xc3\"\t\0z9", 13}));
}

std::string randomDirectives(Random &random) {
    Words directives;
    while (!random.oneIn(5))
        directives.push_back(directive(random, random.of(names)));
    return join(random, directives);
}

std::string randomChallenge(Random &random) {
    Words directives = {"qop=\"auth" + std::string(random.oneIn(2) ? "\"" : ",auth-conf\""),
                        "nonce=" + randomValue(random, "nonce"), "algorithm=md5-sess"};
    if (random.oneIn(2))
        directives.push_back("cipher=\"" + randomTokens(random) + "\"");
    for (const char *name : {"realm", "realm", "charset", "maxbuf", "stale", "other"})
        if (random.oneIn(3))
            directives.push_back(directive(random, name));
    std::swap(directives[random.below(directives.size())],
              directives[random.below(directives.size())]);
    return join(random, directives);
}

std::string damaged(Random &random, std::string text) {
    for (std::size_t count = random.below(4); count > 0; --count)
        damage(random, text);
    return text;
}

std::string printable(std::string_view text) {
    std::string shown;
    for (char c : text) {
        char escape[5];
        std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
        shown += std::isprint(static_cast<unsigned char>(c)) != 0 ? std::string(1, c) : escape;
    }
    return "<" + shown + ">";
}

} // namespace qldapx_test::digest_model
