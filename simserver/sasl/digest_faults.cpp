#include "sasl/digest_faults.h"

#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim::digest {
namespace {

using Directives = std::vector<Directive>;

Directives::iterator find(Directives &directives, std::string_view name) {
    return std::find_if(directives.begin(), directives.end(),
                        [&](const Directive &directive) { return directive.name == name; });
}

void put(Answer &answer, Directive directive) {
    const auto old = find(answer.directives, directive.name);
    if (old == answer.directives.end())
        answer.directives.push_back(std::move(directive));
    else
        *old = std::move(directive);
}

/** Lets `edit` change the value of a directive, unless another fault has taken it away. */
template <typename Edit>
void editValue(Answer &answer, std::string_view name, const Edit &edit) {
    const auto found = find(answer.directives, name);
    if (found != answer.directives.end())
        edit(found->value);
}

void leaveOut(Answer &answer, std::string_view name, const std::string & /*value*/) {
    std::erase_if(answer.directives,
                  [&](const Directive &directive) { return directive.name == name; });
}

void putBare(Answer &answer, std::string_view name, const std::string &value) {
    put(answer, {std::string(name), value, false});
}

void putQuoted(Answer &answer, std::string_view name, const std::string &value) {
    put(answer, {std::string(name), value, true});
}

void putTrue(Answer &answer, std::string_view name, const std::string & /*value*/) {
    put(answer, {std::string(name), "true", false});
}

void sayText(Answer &answer, std::string_view /*directive*/, const std::string &value) {
    answer.text = value;
}

void succeed(Answer &answer, std::string_view /*directive*/, const std::string & /*value*/) {
    answer.code = ResultCode::Success;
}

void offerRealms(Answer &answer, std::string_view name, const std::string &value) {
    leaveOut(answer, name, value);
    Directives realms;
    for (std::int64_t i = 1; i <= *parseInteger(value); ++i)
        realms.push_back({std::string(name), fmt::format("realm{}", i), true});
    answer.directives.insert(answer.directives.begin(), realms.begin(), realms.end());
}

void stretch(Answer &answer, std::string_view name, const std::string &value) {
    const auto size = static_cast<std::size_t>(*parseInteger(value));
    editValue(answer, name, [&](std::string &text) {
        const std::string unit = text;
        while (text.size() < size)
            text += unit;
        text.resize(size);
    });
}

void sayTwice(Answer &answer, std::string_view name, const std::string & /*value*/) {
    const auto found = find(answer.directives, name);
    if (found != answer.directives.end())
        answer.directives.insert(found, Directive(*found));
}

/** Each digit becomes the next one: a proof still, of something else. */
void falsify(Answer &answer, std::string_view name, const std::string & /*value*/) {
    constexpr std::string_view digits = "0123456789abcdef0";
    editValue(answer, name, [&](std::string &text) {
        for (char &digit : text)
            digit = digits[digits.find(digit) + 1];
    });
}

void raise(Answer &answer, std::string_view name, const std::string & /*value*/) {
    constexpr char toUpper = 'a' - 'A';
    editValue(answer, name, [](std::string &text) {
        for (char &digit : text)
            digit = digit >= 'a' ? static_cast<char>(digit - toUpper) : digit;
    });
}

void lengthen(Answer &answer, std::string_view name, const std::string & /*value*/) {
    editValue(answer, name, [](std::string &text) { text += "0"; });
}

void sayOtherFirst(Answer &answer, std::string_view name, const std::string & /*value*/) {
    answer.directives.insert(answer.directives.begin(), {std::string(name), "1", true});
}

} // namespace

const std::vector<Distortion> &distortions() {
    constexpr std::int64_t manyRealms = 100000, longNonce = 1 << 20;
    static const std::vector<Distortion> all = {
        {kChallengeStep, "stale", "", "stale", putTrue},
        {kChallengeStep, "no-realm", "", "realm", leaveOut},
        {kChallengeStep, "no-nonce", "", "nonce", leaveOut},
        {kChallengeStep, "no-qop", "", "qop", leaveOut},
        {kChallengeStep, "no-algorithm", "", "algorithm", leaveOut},
        {kChallengeStep, "no-charset", "", "charset", leaveOut},
        {kChallengeStep, "text", "TEXT", "", sayText},
        {kChallengeStep, "realms", "N", "realm", offerRealms, manyRealms},
        {kChallengeStep, "nonce-size", "N", "nonce", stretch, longNonce},
        {kChallengeStep, "nonce-twice", "", "nonce", sayTwice},
        {kChallengeStep, "qop", "TEXT", "qop", putQuoted},
        {kChallengeStep, "algorithm", "TEXT", "algorithm", putBare},
        {kChallengeStep, "charset", "TEXT", "charset", putBare},
        {kChallengeStep, "maxbuf", "TEXT", "maxbuf", putBare},
        {kChallengeStep, "cipher", "TEXT", "cipher", putQuoted},
        {kChallengeStep, "success", "", "", succeed},
        {kProofStep, "wrong-rspauth", "", "rspauth", falsify},
        {kProofStep, "upper-rspauth", "", "rspauth", raise},
        {kProofStep, "empty-rspauth", "", "rspauth", putBare},
        {kProofStep, "long-rspauth", "", "rspauth", lengthen},
        {kProofStep, "other-directive", "", "other", sayOtherFirst},
        {kProofStep, "text", "TEXT", "", sayText},
    };
    return all;
}

} // namespace stratasim::digest
