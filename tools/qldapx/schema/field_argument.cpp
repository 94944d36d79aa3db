#include "schema/field_argument.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

std::string allKeywords(Kind kind) {
    std::string all;
    for (const Keyword &keyword : keywordsOf(kind))
        all += std::string(keyword.name) + ", ";
    return all + "X-...";
}

// The key of a structure rule is no OID, but who sets it may call it so.
std::string spelled(Kind kind, const std::string &name) {
    const Keyword *keyword = keywordOf(
        kind, kind == Kind::dit_structure_rule && sameText(name, "OID") ? "RULEID" : name);
    if (keyword != nullptr)
        return keyword->name;
    const bool isWord =
        name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                               "0123456789-_.") == std::string::npos;
    if (isExtension(name) && isWord)
        return name;
    throw UsageError(
        fmt::format("the field \"{}\" is unknown to {}", printable(name), namesOf(kind).titles),
        allKeywords(kind));
}

FieldArgument split(const std::string &text) {
    using Change = FieldArgument::Change;
    const std::size_t sign = text.find('=');
    if (sign == std::string::npos) {
        const bool clears = text.ends_with('-');
        return {text.substr(0, text.size() - (clears ? 1 : 0)),
                clears ? Change::Clear : Change::Set, "", false};
    }
    const char before = sign == 0 ? '\0' : text[sign - 1];
    const Change change = before == '+'   ? Change::Insert
                          : before == '-' ? Change::TakeOut
                                          : Change::Set;
    return {text.substr(0, sign - (change == Change::Set ? 0 : 1)), change, text.substr(sign + 1),
            true};
}

void requireValue(Kind kind, const FieldArgument &field) {
    const Keyword *keyword = keywordOf(kind, field.keyword);
    const bool isFlag = keyword != nullptr && keyword->form == Form::Flag;
    if (field.change == FieldArgument::Change::Clear)
        return;
    if (isFlag && field.hasValue)
        throw UsageError(fmt::format("{} takes no value", field.keyword),
                         fmt::format("{0} sets it, {0}- takes it away", field.keyword));
    if (!isFlag && !field.hasValue)
        throw UsageError(fmt::format("{} needs a value", printable(field.keyword)),
                         fmt::format("{}=VALUE", printable(field.keyword)));
}

} // namespace

FieldArgument parseFieldArgument(Kind kind, const std::string &text) {
    FieldArgument field = split(text);
    field.keyword = spelled(kind, field.keyword);
    requireValue(kind, field);
    return field;
}

} // namespace qldapx
